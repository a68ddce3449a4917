#include "core/store/store_error.hpp"
#include "desktop/conversation/transcript_window.hpp"
#include "platform/log/log.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "TranscriptWindow");

}  // namespace

bool TranscriptWindow::canSkip() const {
  const ConversationItemId last = visible_ ? visible_->second : ConversationItemId();
  const bool isEndVisible = last == ConversationItemId() || (!items_.empty() && last == items_.back().item.id);
  return isAtEnd_ && isEndVisible && !reading_.place && selected_.isNone() && !found_;
}

awaitable<void> TranscriptWindow::readBehind(Turns::Turn turn) {
  while (isAtEnd_) {
    const auto anchor = items_.empty() ? std::nullopt : std::optional(items_.back().item.id);
    auto items = co_await alive(reader_->page(*shown_, anchor, PageDirection::after, kPageItems));
    if (!turns_.isLatest(turn) || items.empty()) co_return;
    if (items.size() == kPageItems && canSkip()) {
      live_.skip(*shown_);
      if (isLookedAt_) unread_.reset();
      auto end = co_await alive(partAtEnd(reader_, *shown_, kOpenedItems));
      if (turns_.isLatest(turn)) co_await show(std::move(end), std::nullopt, Stays::no, turn);
      if (turns_.isLatest(turn)) Q_EMIT jumped(-1);
      co_return;
    }
    auto made = co_await prepared(std::move(items));
    if (!turns_.isLatest(turn)) co_return;
    for (ShownItem& item : made) {
      if (isLookedAt_ && kindOf(item.item) == ConversationItemKind::userMessage) {
        // Whoever watches how the conversation goes on has seen what there was.
        unread_.reset();
        wasAway_ = false;
      }
      if (auto text = live_.replacedBy(*shown_, kindOf(item.item), item.item.text)) {
        if (auto folds = growingFolds_.extract(text->key)) foldsOf(item.item.id) = std::move(folds.mapped());
        item.key = std::move(text->key);
      }
      replacing_.insert(item.item.id);
    }
    add(std::move(made), Side::back);
    update();
  }
}

awaitable<void> TranscriptWindow::settleGrowth(std::deque<ConversationItemId>& inserted, Turns::Turn turn) {
  for (; !inserted.empty(); inserted.pop_front()) {
    const ConversationItemId id = inserted.front();
    const LiveRun* const run = live_.find(*shown_);
    if (replacing_.erase(id) > 0 || !run || !run->isReplaceable()) continue;
    // It was read with others, or is beyond what is shown: its text does not grow any more.
    const ShownItem* const shownItem = find(id);
    const auto read = shownItem ? std::optional(shownItem->item) : co_await alive(reader_->item(id));
    if (!turns_.isLatest(turn)) co_return;
    if (read) live_.replacedBy(*shown_, kindOf(*read), read->text);
  }
}

void TranscriptWindow::leaveGrowth(const TranscriptWork& undone, ConversationId conversation) {
  if (!undone.inserted.empty()) live_.skip(conversation);
}

awaitable<void> TranscriptWindow::readItem(ConversationItemId id, Turns::Turn turn) {
  auto item = co_await alive(reader_->item(id));
  if (!turns_.isLatest(turn)) co_return;
  if (!item || item->conversation != *shown_) {
    std::erase_if(items_, [&](const ShownItem& each) { return each.item.id == id; });
    const std::int64_t count = co_await alive(reader_->count(*shown_));
    if (!turns_.isLatest(turn)) co_return;
    count_ = count;
    if (items_.empty()) {
      work_.opens = true;
      co_return;
    }
    const auto first = co_await alive(reader_->position(items_.front().item.id));
    if (turns_.isLatest(turn) && first) first_ = *first;
    co_return;
  }
  if (!find(id)) co_return;
  std::vector<ConversationItem> read;
  read.push_back(*std::move(item));
  auto made = co_await prepared(std::move(read));
  ShownItem* const shownItem = find(id);
  if (!turns_.isLatest(turn) || !shownItem) co_return;
  made.front().key = std::move(shownItem->key);
  *shownItem = std::move(made.front());
  makeRows(*shownItem);
  if (kindOf(shownItem->item) == ConversationItemKind::userMessage) co_await readSummary(turn);
}

awaitable<void> TranscriptWindow::readInvocation(ToolInvocationId id, Turns::Turn turn) {
  auto invocation = co_await alive(reader_->invocation(id));
  if (!turns_.isLatest(turn) || !invocation) co_return;
  ShownItem* const group = find(invocation->parentGroup);
  if (!group || kindOf(group->item) != ConversationItemKind::toolInvocationGroup) co_return;
  if (const auto texts = callTexts_.find(id); texts != callTexts_.end()) {
    texts->second = {.input = invocation->input.value_or(""), .output = invocation->output.value_or("")};
  }
  group->setInvocation(*std::move(invocation), projectFolder_);
  makeRows(*group);
}

awaitable<void> TranscriptWindow::readTexts(ToolInvocationId id, Turns::Turn turn) {
  auto invocation = co_await alive(reader_->invocation(id));
  if (!turns_.isLatest(turn) || !invocation) co_return;
  callTexts_[id] = {.input = invocation->input.value_or(""), .output = invocation->output.value_or("")};
  if (ShownItem* const group = find(invocation->parentGroup)) makeRows(*group);
}

awaitable<void> TranscriptWindow::markSeen(Turns::Turn turn) {
  if (!isLookedAt_ || !isAtEnd_ || items_.empty()) co_return;
  seenCount_ = count_;
  Q_EMIT shownChanged();
  const ConversationItemId last = items_.back().item.id;
  const bool wasAway = std::exchange(wasAway_, false);
  if (seenUpTo_ == last) co_return;
  if (wasAway) {
    const auto unread = co_await readUnread(*shown_);
    if (!turns_.isLatest(turn)) co_return;
    if (unread) unread_ = unread;
    update();
  }
  // Where it cannot be stored, it is tried again when it is looked at anew.
  seenUpTo_ = last;
  try {
    co_await alive(application_.conversations().markSeen(*shown_, last));
  } catch (const StoreError& error) {
    kLog.warning("what was looked at is not marked as seen: {}", error.what());
  }
}

}  // namespace ravant::desktop
