#include "desktop/window/keyboard_keeper.hpp"

#include <QKeyEvent>
#include <QQuickWindow>
#include <algorithm>
#include <ranges>

#include "desktop/program/desktop_window.hpp"

namespace ravant::desktop {
namespace {

constexpr std::size_t kRemembered = 8;

QString shownDetail() {
  const DesktopWindow& window = DesktopWindow::instance();
  return window.conversation() + QLatin1Char('/') + window.newConversationProject();
}

bool canTake(const QQuickItem* item) { return item->isVisible() && item->isEnabled(); }

}  // namespace

KeyboardKeeper::KeyboardKeeper(QObject* parent) : QObject(parent), shown_(shownDetail()) {
  soon_.setSingleShot(true);
  soon_.setInterval(0);
  connect(&soon_, &QTimer::timeout, this, &KeyboardKeeper::look);
  connect(&DesktopWindow::instance(), &DesktopWindow::selectionShown, this, [this] {
    if (std::exchange(shown_, shownDetail()) != shown_) wantsPrompt_ = true;
    look();
  });
}

void KeyboardKeeper::setWithin(QQuickItem* part) {
  within_ = part;
  connect(part, &QQuickItem::windowChanged, this, &KeyboardKeeper::followWindow);
  followWindow(part->window());
  Q_EMIT withinChanged();
}

void KeyboardKeeper::followWindow(QQuickWindow* window) {
  if (window_) window_->disconnect(this);
  window_ = window;
  if (!window) return;
  connect(window, &QQuickWindow::activeFocusItemChanged, this, &KeyboardKeeper::lookSoon);
  connect(window, &QQuickWindow::activeChanged, this, &KeyboardKeeper::lookSoon);
  lookSoon();
}

void KeyboardKeeper::look() {
  if (!window_ || !window_->isActive()) return;
  QQuickItem* const focused = window_->activeFocusItem();
  const bool isCovered = focused && !isIn(focused) && isPlace(focused);
  if (isCovered) return;
  if (std::exchange(wantsPrompt_, false)) DesktopWindow::instance().focusPrompt();
  if (QQuickItem* const now = window_->activeFocusItem(); isPlace(now)) return note(now);
  if (!goBack()) DesktopWindow::instance().focusPrompt();
  if (!isPlace(window_->activeFocusItem())) Q_EMIT lost();
}

void KeyboardKeeper::note(QQuickItem* focused) {
  std::erase_if(had_, [&](const QPointer<QQuickItem>& item) { return !item || item == focused; });
  had_.emplace_back(focused);
  if (had_.size() > kRemembered) had_.erase(had_.begin());
  for (const auto& connection : std::exchange(ofFocused_, {})) disconnect(connection);
  ofFocused_ = {connect(focused, &QQuickItem::visibleChanged, this, &KeyboardKeeper::lookSoon),
                connect(focused, &QQuickItem::enabledChanged, this, &KeyboardKeeper::lookSoon)};
}

bool KeyboardKeeper::goBack() {
  for (const QPointer<QQuickItem>& item : had_ | std::views::reverse) {
    if (!item || item->window() != window_ || !canTake(item)) continue;
    item->forceActiveFocus(Qt::OtherFocusReason);
    if (isPlace(window_->activeFocusItem())) return true;
  }
  return false;
}

bool KeyboardKeeper::takeKey(const QString& text, int modifiers) {
  constexpr auto kOfCommands = Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
  const Qt::KeyboardModifiers held(modifiers);
  if (text.isEmpty() || !text.front().isPrint() || text.front().isSpace() || (held & kOfCommands)) return false;
  const QQuickItem* const before = window_->activeFocusItem();
  DesktopWindow::instance().focusPrompt();
  QQuickItem* const field = window_->activeFocusItem();
  if (!field || field == before || !field->flags().testFlag(QQuickItem::ItemAcceptsInputMethod)) return false;
  QKeyEvent press(QEvent::KeyPress, 0, held, text);
  QCoreApplication::sendEvent(field, &press);
  return true;
}

bool KeyboardKeeper::isIn(const QQuickItem* item) const { return item == within_ || within_->isAncestorOf(item); }

/// A scope in which nothing can take the focus is none, and none above the part either.
bool KeyboardKeeper::isPlace(const QQuickItem* item) const {
  if (!item || item == within_ || item->isAncestorOf(within_) || !canTake(item)) return false;
  if (!isIn(item) || !item->isFocusScope() || item->activeFocusOnTab()) return true;
  return item->scopedFocusItem() && canTake(item->scopedFocusItem());
}

}  // namespace ravant::desktop
