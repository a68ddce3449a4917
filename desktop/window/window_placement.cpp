#include "desktop/window/window_placement.hpp"

#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <chrono>
#include <ranges>

#include "app/known_settings.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "WindowPlacement");

constexpr std::chrono::seconds kSoon(1);
constexpr QSize kUsualSize(1280, 832);

int area(const QRect& rect) { return rect.isEmpty() ? 0 : rect.width() * rect.height(); }

QRect rectOf(const WindowGeometry& geometry) { return {geometry.x, geometry.y, geometry.width, geometry.height}; }

QList<QRect> screens() {
  QList<QRect> found;
  for (const QScreen* const screen : QGuiApplication::screens()) found.append(screen->availableGeometry());
  return found;
}

QRect usualPlace(const QRect& screen) {
  QRect place(QPoint(), kUsualSize);
  place.moveCenter(screen.center());
  return place;
}

}  // namespace

QRect placedOn(const QList<QRect>& screens, QRect wanted) {
  const QRect screen =
      *std::ranges::max_element(screens, {}, [&](const QRect& each) { return area(each.intersected(wanted)); });
  wanted.setSize(wanted.size().boundedTo(screen.size()));
  wanted.moveLeft(std::clamp(wanted.left(), screen.left(), screen.right() + 1 - wanted.width()));
  wanted.moveTop(std::clamp(wanted.top(), screen.top(), screen.bottom() + 1 - wanted.height()));
  return wanted;
}

void bringForward(QWindow& window, const QString& activationToken) {
  if (window.windowStates().testFlag(Qt::WindowMinimized)) window.showNormal();
  // Where Qt's part for Wayland looks for it.
  const bool isWayland = QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
  if (isWayland && !activationToken.isEmpty()) qputenv("XDG_ACTIVATION_TOKEN", activationToken.toUtf8());
  window.raise();
  window.requestActivate();
}

WindowPlacement::WindowPlacement(Theme& theme)
    : settings_(DesktopWindow::instance().application().settings()),
      theme_(theme),
      sidebarWidth_(static_cast<int>(settings_.integer(setting::kSidebarWidth))),
      contentWidth_(static_cast<int>(settings_.integer(setting::kContentWidth))),
      isSidebarShown_(settings_.boolean(setting::kSidebarShown)) {
  const QList<QRect> places = screens();
  const auto last = windowGeometryOf(settings_);
  opening_ = placedOn(places, last ? rectOf(*last) : usualPlace(places.first()));
  geometry_ = last.value_or(WindowGeometry());
  soon_.setSingleShot(true);
  soon_.setInterval(kSoon);
  connect(&soon_, &QTimer::timeout, this, &WindowPlacement::keep);
  connect(&theme_, &Theme::sizesChanged, this, &WindowPlacement::keepSoon);
  // A zoom that comes from the file is in it: written late, it would overwrite the next one.
  connect(&DesktopWindow::instance(), &DesktopWindow::settingsChanged, this, [this] {
    const std::string zoom(setting::kWindowZoom);
    if (settings_.integer(zoom) == theme_.zoom()) kept_.insert_or_assign(zoom, std::int64_t{theme_.zoom()});
  });
  const OrderlyEnd* const end = DesktopWindow::instance().end();
  connect(end, &OrderlyEnd::stateChanged, this, [this, end] {
    if (end->state() == OrderlyEnd::State::Ending) keep();
  });
}

void WindowPlacement::follow(QWindow& window) {
  window_ = &window;
  if (geometry_.isMaximized) window.showMaximized();
  kept_ = values();
  for (const auto signal : {&QWindow::xChanged, &QWindow::yChanged, &QWindow::widthChanged, &QWindow::heightChanged}) {
    connect(&window, signal, this, &WindowPlacement::takeGeometry);
  }
  connect(&DesktopWindow::instance(), &DesktopWindow::raised, &window,
          [&window](const QString& token) { bringForward(window, token); });
  connect(&window, &QWindow::windowStateChanged, this, &WindowPlacement::takeGeometry);
}

void WindowPlacement::takeGeometry() {
  if (!window_->isVisible()) return;
  geometry_.isMaximized = window_->windowStates().testFlag(Qt::WindowMaximized);
  if (window_->windowStates() == Qt::WindowNoState) {
    geometry_ = {.x = window_->x(), .y = window_->y(), .width = window_->width(), .height = window_->height()};
  }
  keepSoon();
}

int WindowPlacement::withinLimits(std::string_view key, int width) const {
  const SettingDescription& setting = settings_.description(key);
  return static_cast<int>(std::clamp<std::int64_t>(width, setting.least, setting.greatest));
}

void WindowPlacement::setSidebarWidth(int width) {
  sidebarWidth_ = withinLimits(setting::kSidebarWidth, width);
  Q_EMIT columnsChanged();
  keepSoon();
}

void WindowPlacement::setContentWidth(int width) {
  contentWidth_ = withinLimits(setting::kContentWidth, width);
  Q_EMIT columnsChanged();
  keepSoon();
}

void WindowPlacement::setSidebarShown(bool shown) {
  if (std::exchange(isSidebarShown_, shown) == shown) return;
  Q_EMIT columnsChanged();
  keepSoon();
}

WindowPlacement::Values WindowPlacement::values() const {
  Values values{{std::string(setting::kSidebarWidth), std::int64_t{sidebarWidth_}},
                {std::string(setting::kContentWidth), std::int64_t{contentWidth_}},
                {std::string(setting::kSidebarShown), isSidebarShown_},
                {std::string(setting::kWindowZoom), std::int64_t{theme_.zoom()}}};
  if (geometry_.width > 0) values.emplace(setting::kWindowGeometry, geometry_.text());
  return values;
}

void WindowPlacement::keepSoon() {
  if (window_) soon_.start();
}

void WindowPlacement::keep() {
  soon_.stop();
  if (!window_) return;
  Values changed = values();
  std::erase_if(changed, [this](const auto& value) {
    const auto before = kept_.find(value.first);
    return before != kept_.end() && before->second == value.second;
  });
  kept_ = values();
  if (!changed.empty()) start(write(std::move(changed)));
}

awaitable<void> WindowPlacement::write(Values changed) {
  try {
    co_await alive(onPool(DesktopWindow::instance().application().modelContainer()->work(),
                          [path = settings_.path(), changed] { keepSettings(path, changed); }));
  } catch (const SettingsError& error) {
    kLog.warning("where the window is could not be kept: {}", error.what());
    // It is tried again with the next change, and at the end.
    std::erase_if(kept_, [&](const auto& value) {
      const auto lost = changed.find(value.first);
      return lost != changed.end() && lost->second == value.second;
    });
  }
}

}  // namespace ravant::desktop
