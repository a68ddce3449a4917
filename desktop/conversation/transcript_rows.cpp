#include <QDateTime>
#include <algorithm>
#include <chrono>
#include <ranges>
#include <unordered_map>

#include "desktop/conversation/transcript_window.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/text/duration_text.hpp"

namespace ravant::desktop {
namespace {

/// Bytes of Markdown: more is not read on the interface thread.
constexpr std::size_t kMostReadHere = 100 * 1000;

void makeInterrupted(TranscriptRow& row) {
  const QString prefix = TranscriptWindow::tr("Interrupted: ");
  row.kind = RowKind::interrupted;
  row.name = row.text.startsWith(prefix) ? row.text : prefix + row.text;
}

/// The head of the conversation tells how long all of it runs; a step is told to last when it does so for long.
constexpr std::chrono::seconds kToldDuration{10};

QString clockTime(Timestamp time) {
  return QDateTime::fromSecsSinceEpoch(std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count())
      .toString(QStringLiteral("HH:mm"));
}

}  // namespace

void TranscriptWindow::makeRows(ShownItem& item) {
  item.rows = rowsOf(item, folds(item.item.id),
                     {.agent = agent_, .now = application_.modelContainer()->clock().now(), .callTexts = callTexts_});
}

void TranscriptWindow::makeAllRows() {
  for (ShownItem& item : items_) makeRows(item);
}

void TranscriptWindow::add(std::vector<ShownItem> items, Side side) {
  if (side == Side::back) {
    std::size_t added = 0;
    for (ShownItem& item : items) {
      if (added > kMostRowsOfPage && !isAtEnd_) break;
      makeRows(item);
      added += item.rows.size();
      items_.push_back(std::move(item));
    }
    trim(Side::front);
    return;
  }
  std::size_t added = 0;
  for (ShownItem& item : std::views::reverse(items)) {
    if (added > kMostRowsOfPage) break;
    makeRows(item);
    added += item.rows.size();
    items_.push_front(std::move(item));
    --first_;
  }
  trim(Side::back);
}

void TranscriptWindow::replaceAll(std::vector<ShownItem> items) {
  beginResetModel();
  rows_.clear();
  items_.assign(std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
  makeAllRows();
  visible_.reset();
  rows_ = wantedRows();
  endResetModel();
}

void TranscriptWindow::replaceItems(std::vector<ShownItem> items) {
  for (ShownItem& item : items) {
    if (ShownItem* const shownItem = find(item.item.id)) item.key = std::move(shownItem->key);
  }
  items_.assign(std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()));
  makeAllRows();
}

bool TranscriptWindow::canLeave(Side side) const {
  if (items_.size() < 2) return false;
  if (!visible_) return true;
  if (side == Side::front) return visible_->first != items_.front().item.id;
  return visible_->second != items_.back().item.id && visible_->second != ConversationItemId();
}

std::size_t TranscriptWindow::hiddenRows() const {
  const auto place = [this](ConversationItemId id) {
    return std::ranges::find(items_, id, [](const ShownItem& each) { return each.item.id; });
  };
  const auto first = visible_ ? place(visible_->first) : items_.end();
  const auto last = visible_ ? place(visible_->second) : items_.end();
  std::size_t rows = 0;
  for (auto item = items_.begin(); item != items_.end(); ++item) {
    const bool isVisible = item >= first && item <= last;
    if (!isVisible) rows += item->rows.size();
  }
  return rows;
}

void TranscriptWindow::trim(Side side) {
  std::size_t rows = hiddenRows();
  while (rows > kMostRows) {
    const Side other = side == Side::front ? Side::back : Side::front;
    if (!canLeave(side) && !canLeave(other)) return;
    if ((canLeave(side) ? side : other) == Side::front) {
      rows -= items_.front().rows.size();
      items_.pop_front();
      ++first_;
    } else {
      rows -= items_.back().rows.size();
      items_.pop_back();
      isAtEnd_ = false;
    }
  }
}

bool TranscriptWindow::isOnlyBehindPrompt(std::size_t index) const {
  const bool isPrompt = kindOf(items_.front().item) == ConversationItemKind::userMessage;
  return first_ + static_cast<std::int64_t>(index) <= (isPrompt ? 1 : 0);
}

std::vector<TranscriptRow> TranscriptWindow::wantedRows() {
  std::vector<TranscriptRow> rows;
  const ShownItem* stopped = nullptr;
  const auto markStop = [&] {
    if (!stopped) return;
    const ConversationItemId last = rows.back().item;
    rows.push_back({.kind = RowKind::stopped,
                    .key = "stopped" + stopped->item.id.text(),
                    .item = last,
                    .text = tr("Stopped"),
                    .name = tr("Stopped")});
    stopped = nullptr;
  };
  bool isInterrupted = false;
  for (std::size_t index = 0; index < items_.size(); ++index) {
    const ShownItem& item = items_[index];
    if (const auto* prompt = std::get_if<UserMessage>(&item.item.detail)) {
      markStop();
      if (prompt->endReason == PromptOutcome::cancelled) stopped = &item;
      isInterrupted = prompt->endReason == PromptOutcome::interrupted;
    }
    if (unread_ && unread_->first == item.item.id && !isOnlyBehindPrompt(index)) {
      rows.push_back(
          {.kind = RowKind::unread, .key = "new", .item = item.item.id, .text = tr("New"), .name = tr("New")});
    }
    rows.insert(rows.end(), item.rows.begin(), item.rows.end());
    if (isInterrupted && rows.back().kind == RowKind::failure) makeInterrupted(rows.back());
  }
  if (isAtEnd_ && isOpened_) {
    markStop();
    markEnd(rows);
    addLiveRows(rows);
  }
  return rows;
}

void TranscriptWindow::markEnd(std::vector<TranscriptRow>& rows) const {
  const LiveRun* const run = live_.find(*shown_);
  if (!summary_ || summary_->run || (run && run->state)) return;
  const bool isInterrupted = summary_->end == TranscriptEnd::interrupted;
  const auto isEnd = [](const TranscriptRow& row) {
    return row.kind == RowKind::failure || row.kind == RowKind::interrupted;
  };
  if (!rows.empty() && isEnd(rows.back())) {
    rows.back().canAct = true;
    if (isInterrupted) makeInterrupted(rows.back());
  } else if (isInterrupted) {
    const QString words = tr("Interrupted: Ravant ended while this ran.");
    rows.push_back({.kind = RowKind::interrupted, .key = "interrupted", .canAct = true, .text = words, .name = words});
  }
}

void TranscriptWindow::leadOn() {
  if (!leadsOn()) return;
  if (rows_.back().kind == RowKind::interrupted) {
    Q_EMIT goingOnRequested();
  } else {
    Q_EMIT anotherTryRequested(itemOf(static_cast<int>(rows_.size()) - 1));
  }
}

void TranscriptWindow::addLiveRows(std::vector<TranscriptRow>& rows) {
  if (summary_ && summary_->run && summary_->run->place == LivingRun::Place::elsewhere) {
    rows.push_back({.kind = RowKind::runState, .key = "elsewhere"});
    rows.back().outcome = RowOutcome::running;
    rows.back().label = rows.back().name = tr("Running in another program");
  }
  const LiveRun* const run = live_.find(*shown_);
  const auto isGone = [run](const auto& each) {
    return !run || (!(run->growing && run->growing->key == each.first) &&
                    std::ranges::find(run->complete, each.first, &GrowingText::key) == run->complete.end());
  };
  std::erase_if(parsed_, isGone);
  std::erase_if(growingFolds_, isGone);
  if (!run) return;
  const auto now = application_.modelContainer()->clock().now();
  TranscriptRow state{.kind = RowKind::runState, .key = fmt::format("state{}", run->number)};
  state.outcome = run->growing ? RowOutcome::none : RowOutcome::running;
  if (run->state && !run->growing && now - run->state->since >= kToldDuration) {
    state.detail = QString::fromStdString(shortDuration(now - run->state->since));
  }
  if (!run->reasoning.empty()) {
    state.kind = RowKind::reasoning;
    state.label = run->growing ? tr("Thought") : tr("Thinking");
    state.isOpen = isReasoningOpen_;
    state.text = isReasoningOpen_ ? desktop::shown(run->reasoning) : QString();
    state.name = state.label + (state.isOpen ? tr(", expanded") : tr(", collapsed"));
    rows.push_back(state);
  } else if (run->state && !run->growing && run->state->kind != RunState::Kind::runningTool) {
    switch (run->state->kind) {
      case RunState::Kind::waitingForShell:
        state.label = tr("Waiting for the shell");
        break;
      case RunState::Kind::waitingForLogin:
        state.label = tr("Waiting for the login");
        break;
      case RunState::Kind::retrying:
        state.label = run->state->until ? tr("Retrying at %1").arg(clockTime(*run->state->until)) : tr("Retrying");
        state.text = desktop::shown(run->state->reason);
        break;
      default:
        state.label = tr("Thinking");
    }
    state.name = state.text.isEmpty() ? state.label : state.label + QStringLiteral(": ") + state.text;
    rows.push_back(state);
  }
  for (const GrowingText& text : run->complete) addText(rows, text, Growing::no);
  if (run->growing) addText(rows, *run->growing, Growing::yes);
}

void TranscriptWindow::addText(std::vector<TranscriptRow>& rows, const GrowingText& text, Growing growing) {
  const auto opened = growingFolds_.find(text.key);
  const ItemFolds folds = opened == growingFolds_.end() ? ItemFolds() : opened->second;
  const auto make = [&] { return messageRows(markdownBlocks(text.text), text.key, {}, folds, agent_, growing); };
  if (text.text.size() < kMostReadHere / 2) return void(std::ranges::move(make(), std::back_inserter(rows)));
  ParsedText& parsed = parsed_[text.key];
  const bool isCurrent = parsed.size == text.text.size() && parsed.folds == folds;
  if (text.text.size() < kMostReadHere) {
    parsed = {.size = text.text.size(), .folds = folds, .rows = make()};
  } else if (!isCurrent && !std::exchange(parsed.isUnderWay, true)) {
    start(parse(text, folds, growing));
  }
  std::ranges::copy(parsed.rows, std::back_inserter(rows));
}

awaitable<void> TranscriptWindow::parse(GrowingText text, ItemFolds folds, Growing growing) {
  const auto shared = std::make_shared<const GrowingText>(std::move(text));
  auto made = co_await alive(onPool(application_.modelContainer()->work(), [shared, folds, agent = agent_, growing] {
    return messageRows(markdownBlocks(shared->text), shared->key, {}, folds, agent, growing);
  }));
  const auto parsed = parsed_.find(shared->key);
  if (parsed == parsed_.end()) co_return;
  parsed->second = {.size = shared->text.size(), .folds = std::move(folds), .rows = std::move(made)};
  if (!growth_.isActive()) growth_.start();
}

void TranscriptWindow::update() {
  std::vector<TranscriptRow> wanted = wantedRows();
  std::unordered_map<std::string_view, std::size_t> places;
  for (std::size_t index = 0; index < wanted.size(); ++index) places.emplace(wanted[index].key, index);
  std::vector<bool> stays(rows_.size());
  for (std::size_t index = 0, next = 0; index < rows_.size(); ++index) {
    const auto place = places.find(rows_[index].key);
    if (place == places.end() || place->second < next) continue;
    stays[index] = true;
    next = place->second + 1;
  }
  for (std::size_t end = rows_.size(); end > 0;) {
    std::size_t begin = end;
    while (begin > 0 && !stays[begin - 1]) --begin;
    if (begin < end) {
      beginRemoveRows({}, static_cast<int>(begin), static_cast<int>(end) - 1);
      rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(begin), rows_.begin() + static_cast<std::ptrdiff_t>(end));
      endRemoveRows();
    }
    end = begin == 0 ? 0 : begin - 1;
  }
  for (std::size_t index = 0; index < wanted.size();) {
    if (index < rows_.size() && rows_[index].key == wanted[index].key) {
      if (rows_[index] != wanted[index]) {
        rows_[index] = std::move(wanted[index]);
        const QModelIndex changed = this->index(static_cast<int>(index));
        Q_EMIT dataChanged(changed, changed);
      }
      ++index;
      continue;
    }
    std::size_t end = index;
    while (end < wanted.size() && (index == rows_.size() || wanted[end].key != rows_[index].key)) ++end;
    beginInsertRows({}, static_cast<int>(index), static_cast<int>(end) - 1);
    rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(index),
                 std::make_move_iterator(wanted.begin() + static_cast<std::ptrdiff_t>(index)),
                 std::make_move_iterator(wanted.begin() + static_cast<std::ptrdiff_t>(end)));
    endInsertRows();
    index = end;
  }
  const LiveRun* const run = shown_ ? live_.find(*shown_) : nullptr;
  const bool runs = (run && run->state) ||
                    std::ranges::any_of(items_, [](const ShownItem& item) { return desktop::isRunning(item.item); });
  if (runs != clock_.isActive()) runs ? clock_.start() : clock_.stop();
  if (isAtEnd_) count_ = first_ + static_cast<std::int64_t>(items_.size());
  if (isLookedAt_ && isAtEnd_ && isOpened_ && !items_.empty()) {
    seenCount_ = count_;
    if (seenUpTo_ != items_.back().item.id && !seen_.isActive() && trouble_.isEmpty()) seen_.start();
  }
  Q_EMIT shownChanged();
}

void TranscriptWindow::tick() {
  for (ShownItem& item : items_) {
    if (desktop::isRunning(item.item)) makeRows(item);
  }
  update();
}

}  // namespace ravant::desktop
