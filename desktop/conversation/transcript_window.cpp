#include "desktop/conversation/transcript_window.hpp"

#include <QElapsedTimer>
#include <algorithm>
#include <chrono>

namespace ravant::desktop {
namespace {

/// A growing text is shown at most so often, and for no more than a quarter of the time.
constexpr std::chrono::milliseconds kGrowthInterval{16};
constexpr std::chrono::seconds kClockInterval{1};
constexpr std::chrono::seconds kKeepInterval{1};

static_assert(static_cast<int>(RowKind::stopped) == TranscriptWindow::Stopped);
static_assert(static_cast<int>(RowKind::runState) == TranscriptWindow::RunProgress);
static_assert(static_cast<int>(RowKind::toolGroup) == TranscriptWindow::ToolGroup);
static_assert(static_cast<int>(RowOutcome::failed) == TranscriptWindow::Failed);

}  // namespace

TranscriptWindow::TranscriptWindow(QObject* parent)
    : QAbstractListModel(parent),
      application_(DesktopWindow::instance().application()),
      reader_(std::static_pointer_cast<TranscriptReader>(application_.transcripts().shared_from_this())),
      live_(DesktopWindow::instance().changes()),
      places_(application_) {
  connect(&DesktopWindow::instance(), &DesktopWindow::itemRequested, this,
          [this](ConversationItemId item, const QString& words) {
            words.isEmpty() ? jumpToItem(textOf(item)) : showWords(item, words, FindDirection::next);
          });
  growth_.setSingleShot(true);
  growth_.setInterval(kGrowthInterval);
  rest_.setSingleShot(true);
  connect(&rest_, &QTimer::timeout, this, &TranscriptWindow::workSoon);
  clock_.setInterval(kClockInterval);
  seen_.setSingleShot(true);
  seen_.setInterval(kSeenInterval);
  connect(&growth_, &QTimer::timeout, this, [this] {
    QElapsedTimer took;
    took.start();
    update();
    growth_.setInterval(std::max(kGrowthInterval, std::chrono::milliseconds(3 * took.elapsed())));
    if (isSettled()) Q_EMIT settled();
  });
  connect(&clock_, &QTimer::timeout, this, &TranscriptWindow::tick);
  connect(&seen_, &QTimer::timeout, this, [this] {
    work_.isSeen = true;
    workSoon();
  });
  keeping_.setSingleShot(true);
  keeping_.setInterval(kKeepInterval);
  connect(&keeping_, &QTimer::timeout, this, &TranscriptWindow::keepReading);
  const OrderlyEnd* const end = DesktopWindow::instance().end();
  connect(end, &OrderlyEnd::stateChanged, this, [this, end] {
    if (end->state() == OrderlyEnd::State::Ending) keepReading();
  });
  follow(DesktopWindow::instance().changes());
}

void TranscriptWindow::follow(StoreChanges& changes) {
  const auto isShown = [this](ConversationId conversation) { return shown_ == conversation; };
  connect(&changes, &StoreChanges::itemChanged, this,
          [this, isShown](ConversationId conversation, ConversationItemId item, ChangeOperation operation) {
            if (!isShown(conversation)) return;
            if (operation == ChangeOperation::inserted) {
              work_.isBehindRead = true;
              work_.inserted.push_back(item);
            } else {
              work_.items.insert(item);
            }
            workSoon();
          });
  connect(&changes, &StoreChanges::invocationChanged, this,
          [this, isShown](ConversationId conversation, ToolInvocationId invocation, ChangeOperation) {
            if (!isShown(conversation)) return;
            work_.invocations.insert(invocation);
            workSoon();
          });
  connect(&changes, &StoreChanges::conversationChanged, this,
          [this, isShown](ConversationId conversation, ChangeOperation) {
            if (!isShown(conversation)) return;
            const LiveRun* const run = live_.find(conversation);
            // Each entry of a run changes its conversation too; what else it changes is read when the run is over.
            if (run && run->state) return;
            work_.isSummaryRead = work_.isBehindRead = true;
            workSoon();
          });
  connect(&changes, &StoreChanges::everythingChanged, this, [this] {
    if (!shown_) return;
    (isOpened_ ? work_.isReadAgain : work_.opens) = true;
    workSoon();
  });
  connect(&live_, &LiveTexts::grew, this, [this](ConversationId conversation) {
    if (shown_ == conversation && !growth_.isActive()) growth_.start();
  });
  connect(&live_, &LiveTexts::stateChanged, this, [this](ConversationId conversation) {
    if (shown_ == conversation && !growth_.isActive()) growth_.start();
  });
  connect(&live_, &LiveTexts::ended, this, [this](ConversationId conversation) {
    if (shown_ != conversation) return;
    work_.isRunOver = work_.isSummaryRead = work_.isBehindRead = true;
    work();
  });
}

void TranscriptWindow::setConversation(const QString& conversation) {
  const auto id = conversation.isEmpty() ? std::nullopt : std::optional(idOf<ConversationId>(conversation));
  if (id == shown_) return;
  keepReading();
  if (shown_) leaveGrowth(work_, *shown_);
  turns_.take();
  work_ = {};
  shown_ = id;
  live_.setShown(id);
  isOpened_ = false;
  isAtEnd_ = true;
  first_ = count_ = seenCount_ = 0;
  reading_ = {};
  setTrouble({});
  callTexts_.clear();
  growingFolds_.clear();
  found_.reset();
  selected_.clear();
  unreadAbove_ = 0;
  replacing_.clear();
  summary_.reset();
  visible_.reset();
  seenUpTo_.reset();
  unread_.reset();
  wasAway_ = true;
  isReasoningOpen_ = false;
  rest_.stop();
  growth_.stop();
  clock_.stop();
  replaceAll({});
  Q_EMIT conversationChanged();
  Q_EMIT shownChanged();
  Q_EMIT unreadAboveChanged();
  if (!shown_) return;
  work_.opens = true;
  work();
}

void TranscriptWindow::setLookedAt(bool isLookedAt) {
  if (std::exchange(isLookedAt_, isLookedAt) == isLookedAt) return;
  wasAway_ = wasAway_ || !isLookedAt;
  Q_EMIT lookedAtChanged();
  if (!isLookedAt) return;
  seenUpTo_.reset();
  seen_.start();
}

int TranscriptWindow::newItems() const {
  return static_cast<int>(std::max<std::int64_t>(0, count_ - std::max(seenCount_, std::int64_t{0})));
}

void TranscriptWindow::setMarkedText(const QString& text) {
  if (std::exchange(markedText_, text) != text) Q_EMIT markedTextChanged();
}

void TranscriptWindow::showing(const VisibleRows& rows) {
  if (!isOpened_) return;
  visible_ = {itemAt(rows.first), itemAt(rows.last)};
  if (rows.above < kNear && first_ > 0) work_.isOlderRead = true;
  if (rows.below < kNear && !isAtEnd_) work_.isNewerRead = true;
  work();
  lookForUnread(positionOf(rows.first), positionOf(rows.last));
  const auto count = static_cast<double>(std::max<std::int64_t>(count_, 1));
  const double place = placeWithin(rows.first, rows.cutAbove) / count;
  const double extent = placeWithin(rows.last, 1 - rows.cutBelow) / count - place;
  if (place == place_ && extent == extent_) return;
  place_ = place;
  extent_ = extent;
  Q_EMIT placeChanged();
}

void TranscriptWindow::lookForUnread(std::int64_t first, std::int64_t last) {
  if (unread_ && first <= unread_->position && unread_->position <= last) unread_->wasVisible = true;
  const bool isAbove = unread_ && !unread_->wasVisible && unread_->position < first;
  const int above = isAbove ? static_cast<int>(count_ - unread_->position) : 0;
  if (std::exchange(unreadAbove_, above) != above) Q_EMIT unreadAboveChanged();
}

void TranscriptWindow::jumpToEnd() {
  reading_.place.reset();
  if (isAtEnd_) {
    Q_EMIT jumped(-1);
    return;
  }
  work_.opens = work_.isEndWanted = true;
  work();
}

void TranscriptWindow::jumpToItem(const QString& item) {
  work_.around = ConversationItemId(item.toLongLong());
  work();
}

void TranscriptWindow::jumpToUnread() {
  if (unread_) jumpToItem(textOf(unread_->first));
}

void TranscriptWindow::jumpToPlace(double place) {
  work_.place = place;
  work();
}

std::int64_t TranscriptWindow::positionOf(int row) const {
  const ConversationItemId item = itemAt(row);
  const auto shownItem = std::ranges::find(items_, item, [](const ShownItem& each) { return each.item.id; });
  return first_ + (shownItem - items_.begin());
}

double TranscriptWindow::placeWithin(int row, double part) const {
  const ConversationItemId item = itemAt(row);
  int first = row;
  while (first > 0 && itemAt(first - 1) == item) --first;
  int end = row + 1;
  while (end < rowCount() && itemAt(end) == item) ++end;
  const double place = static_cast<double>(positionOf(row)) + (row - first + part) / (end - first);
  return std::min(place, static_cast<double>(count_));  // what is not stored yet has no place of its own
}

void TranscriptWindow::jumpToPrompt(int row, int direction) { start(findPrompt(itemAt(row), direction)); }

bool TranscriptWindow::setOpen(int row, bool isOpen) {
  if (row < 0 || row >= rowCount()) return false;
  const std::vector<TranscriptRow> before = rows_;
  const TranscriptRow& at = before[static_cast<std::size_t>(row)];
  keepUnfolded();
  if (at.kind == RowKind::reasoning) {
    isReasoningOpen_ = isOpen;
  } else if (at.kind == RowKind::toolGroup) {
    foldsOf(at.item).isOpen = isOpen;
  } else if (at.kind == RowKind::toolCall && isOpen && at.isOpen) {
    addPieces(at);
  } else if (at.kind == RowKind::toolCall && isOpen) {
    foldsOf(at.item).openCalls.insert(at.invocation);
    work_.texts.insert(at.invocation);
    work();
  } else if (at.kind == RowKind::toolCall) {
    foldsOf(at.item).openCalls.erase(at.invocation);
    callTexts_.erase(at.invocation);
  } else if (!isOpen) {
    foldsAt(at).whole.clear();
  } else {
    for (const TranscriptRow& each : rows_) {
      const bool isStored = at.item != ConversationItemId();
      const bool isOfIt = isStored ? each.item == at.item : textKeyOf(each.key) == textKeyOf(at.key);
      if (isOfIt && each.hiddenLines > 0) foldsAt(at).whole.insert(each.block);
    }
  }
  if (ShownItem* const changed = find(at.item)) makeRows(*changed);
  update();
  return rows_ != before;
}

void TranscriptWindow::addPieces(const TranscriptRow& row) {
  const auto part = row.kind == RowKind::toolText ? static_cast<CallPart>(row.block) : CallPart::output;
  ++foldsOf(row.item).pieces.try_emplace({row.invocation, part}, 1).first->second;
}

void TranscriptWindow::showMore(int row) {
  if (row < 0 || row >= rowCount()) return;
  const TranscriptRow at = rows_[static_cast<std::size_t>(row)];
  keepUnfolded();
  if (at.kind == RowKind::toolText) {
    addPieces(at);
  } else {
    foldsAt(at).whole.insert(at.block);
  }
  if (ShownItem* const changed = find(at.item)) makeRows(*changed);
  update();
}

ShownItem* TranscriptWindow::find(ConversationItemId id) {
  const auto item = std::ranges::find(items_, id, [](const ShownItem& each) { return each.item.id; });
  return item == items_.end() ? nullptr : &*item;
}

std::optional<std::size_t> TranscriptWindow::rowOf(ConversationItemId item) const {
  const auto row = std::ranges::find(rows_, item, &TranscriptRow::item);
  return row == rows_.end() ? std::nullopt : std::optional(static_cast<std::size_t>(row - rows_.begin()));
}

ConversationItemId TranscriptWindow::itemAt(int row) const {
  return row >= 0 && row < rowCount() ? rows_[static_cast<std::size_t>(row)].item : ConversationItemId();
}

int TranscriptWindow::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant TranscriptWindow::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
  const TranscriptRow& row = rows_[static_cast<std::size_t>(index.row())];
  switch (role) {
    case kindRole:
      return static_cast<int>(row.kind);
    case itemRole:
      return row.item == ConversationItemId() ? QString() : textOf(row.item);
    case isFirstRole:
      return row.isFirst;
    case isLastRole:
      return row.isLast;
    case opensBlockRole:
      return row.opensBlock;
    case closesBlockRole:
      return row.closesBlock;
    case isOpenRole:
      return row.isOpen;
    case isGrowingRole:
      return row.isGrowing;
    case canActRole:
      return row.canAct;
    case outcomeRole:
      return static_cast<int>(row.outcome);
    case levelRole:
      return row.level;
    case moreRole:
      return row.more;
    case htmlRole:
      return row.html;
    case textRole:
      return row.text;
    case labelRole:
      return row.label;
    case detailRole:
      return row.detail;
    case iconRole:
      return row.icon;
    case nameRole:
    case Qt::DisplayRole:
      return row.name;
    case isSelectedRole:
      return isSelected(row);
    case paintRole:
      return QVariant::fromValue(row.paint);
    case placeRole:
      return placeIn(row);
    case linksRole:
      return row.links;
    default:
      return {};
  }
}

QHash<int, QByteArray> TranscriptWindow::roleNames() const {
  return {{kindRole, "kind"},
          {itemRole, "item"},
          {isFirstRole, "isFirst"},
          {isLastRole, "isLast"},
          {opensBlockRole, "opensBlock"},
          {closesBlockRole, "closesBlock"},
          {isOpenRole, "isOpen"},
          {isGrowingRole, "isGrowing"},
          {canActRole, "canAct"},
          {outcomeRole, "outcome"},
          {levelRole, "level"},
          {moreRole, "more"},
          {htmlRole, "html"},
          {textRole, "words"},
          {labelRole, "label"},
          {detailRole, "detail"},
          {iconRole, "iconName"},
          {nameRole, "name"},
          {isSelectedRole, "isSelected"},
          {paintRole, "paint"},
          {placeRole, "place"},
          {linksRole, "links"}};
}

}  // namespace ravant::desktop
