#include "desktop/conversation/place_marks.hpp"

#include <QElapsedTimer>
#include <QQuickWindow>
#include <QSGRectangleNode>
#include <algorithm>
#include <cmath>

#include "desktop/theme/theme.hpp"
#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "PlaceMarks");
constexpr std::chrono::milliseconds kInterval{300};
/// A reading is followed by so many times as much rest.
constexpr int kRest = 10;
/// In pixels: in a long conversation, one mark stands for all that belong there.
int markHeight() { return std::max(2, qRound(Theme::instance().unit() / 2.0)); }

}  // namespace

PlaceMarks::PlaceMarks(QQuickItem* parent) : QQuickItem(parent) {
  setFlag(ItemHasContents);
  soon_.setSingleShot(true);
  soon_.setInterval(kInterval);
  connect(&soon_, &QTimer::timeout, this, [this] {
    if (conversation_ && !std::exchange(isReading_, true)) start(read(*conversation_, turns_.take()));
  });
  connect(&Theme::instance(), &Theme::colorsChanged, this, &QQuickItem::update);
  StoreChanges& changes = DesktopWindow::instance().changes();
  connect(&changes, &StoreChanges::itemChanged, this,
          [this](ConversationId conversation, ConversationItemId, ChangeOperation operation) {
            if (conversation != conversation_ || operation == ChangeOperation::updated) return;
            readSoon(operation == ChangeOperation::inserted ? Missing::end : Missing::all);
          });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] { readSoon(Missing::all); });
}

void PlaceMarks::setConversation(const QString& conversation) {
  const auto id = conversation.isEmpty() ? std::nullopt : std::optional(idOf<ConversationId>(conversation));
  if (std::exchange(conversation_, id) == id) return;
  turns_.take();
  marks_ = {};
  missing_ = Missing::nothing;
  update();
  Q_EMIT conversationChanged();
  readSoon(Missing::all);
}

void PlaceMarks::setFindPlaces(const QList<double>& places) {
  if (std::exchange(findPlaces_, places) == places) return;
  update();
  Q_EMIT findPlacesChanged();
}

void PlaceMarks::readSoon(Missing missing) {
  if (!conversation_) return;
  missing_ = std::max(missing_, missing);
  if (!soon_.isActive()) soon_.start();
}

awaitable<void> PlaceMarks::read(ConversationId conversation, Turns::Turn turn) {
  const Missing missing = std::exchange(missing_, Missing::nothing);
  bool isTriedAgain = true;
  QElapsedTimer elapsed;
  elapsed.start();
  try {
    auto read = co_await alive(DesktopWindow::instance().application().transcripts().marks(
        conversation, missing == Missing::all ? std::nullopt : marks_.last));
    if (turns_.isLatest(turn)) add(std::move(read), missing);
  } catch (const std::exception& error) {
    kLog.warning("the marks of a conversation cannot be read: {}", error.what());
    if (turns_.isLatest(turn)) missing_ = Missing::all;
    isTriedAgain = !turns_.isLatest(turn);
  }
  isReading_ = false;
  soon_.setInterval(
      std::max<std::chrono::milliseconds>(kInterval, std::chrono::milliseconds(elapsed.elapsed()) * kRest));
  if (missing_ != Missing::nothing && isTriedAgain) soon_.start();
}

void PlaceMarks::add(TranscriptMarks read, Missing missing) {
  if (missing == Missing::all || !marks_.last) {
    marks_ = std::move(read);
  } else if (!read.last) {
    missing_ = Missing::all;
  } else {
    for (const TranscriptMark& mark : read.marks) {
      marks_.marks.push_back(mark);
      marks_.marks.back().position += marks_.items;
    }
    marks_.items += read.items;
    marks_.last = read.last;
  }
  update();
}

std::vector<PlaceMarks::Kind> PlaceMarks::lines(int height) const {
  std::vector<Kind> lines(static_cast<std::size_t>(std::max(height / markHeight(), 0)), Kind::none);
  if (lines.empty()) return lines;
  const auto mark = [&](double place, Kind kind) {
    const auto wanted = static_cast<std::size_t>(std::clamp(place, 0.0, 1.0) * static_cast<double>(lines.size()));
    Kind& line = lines[std::min(wanted, lines.size() - 1)];
    line = std::max(line, kind);
  };
  for (const TranscriptMark& each : marks_.marks) {
    mark(static_cast<double>(each.position) / static_cast<double>(std::max<std::int64_t>(marks_.items, 1)),
         each.kind != ConversationItemKind::failureEvent ? Kind::prompt
         : each.isInterrupted                            ? Kind::interrupted
                                                         : Kind::failure);
  }
  for (const double place : findPlaces_) mark(place, Kind::found);
  return lines;
}

QSGNode* PlaceMarks::updatePaintNode(QSGNode* node, UpdatePaintNodeData*) {
  delete node;
  auto* const all = new QSGNode;
  const Theme& theme = Theme::instance();
  const std::vector<Kind> kinds = lines(static_cast<int>(height()));
  const int high = markHeight();
  for (std::size_t line = 0; line < kinds.size(); ++line) {
    if (kinds[line] == Kind::none) continue;
    // What can be everywhere leaves room to see where the reader is.
    const bool isNarrow = kinds[line] <= Kind::found;
    QSGRectangleNode* const mark = window()->createRectangleNode();
    const double wide = isNarrow ? std::round(width() / 2) : width();
    mark->setRect(std::round((width() - wide) / 2), static_cast<double>(line) * high, wide, high);
    mark->setColor(kinds[line] == Kind::prompt    ? theme.strongLine()
                   : kinds[line] == Kind::failure ? theme.bad()
                                                  : theme.attention());
    all->appendChildNode(mark);
  }
  return all;
}

void PlaceMarks::geometryChange(const QRectF& geometry, const QRectF& old) {
  QQuickItem::geometryChange(geometry, old);
  if (geometry.size() != old.size()) update();
}

}  // namespace ravant::desktop
