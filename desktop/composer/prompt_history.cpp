#include "desktop/composer/prompt_history.hpp"

#include <ranges>

namespace ravant::desktop {
namespace {

constexpr std::int64_t kPage = 60;
constexpr std::int64_t kMostConversations = 50;

}  // namespace

void PromptHistory::open(std::optional<DraftPlace> place) {
  place_ = place;
  end();
}

void PromptHistory::end() {
  turns_.take();
  prompts_.clear();
  earliest_.reset();
  unread_.reset();
  isComplete_ = !place_;
  isReading_ = false;
  position_ = 0;
  current_.reset();
}

void PromptHistory::goBack() {
  if (position_ < prompts_.size()) {
    show(position_ + 1);
  } else if (!isComplete_ && !isReading_) {
    isReading_ = true;
    start(readEarlier(*place_, turns_.take()));
  }
}

void PromptHistory::goForward() {
  if (position_ == 0) return;
  if (position_ > 1) return show(position_ - 1);
  end();
  Q_EMIT reached(QString());
}

void PromptHistory::show(std::size_t position) {
  position_ = position;
  current_ = prompts_[position - 1];
  Q_EMIT reached(*current_);
}

awaitable<std::deque<ConversationId>> PromptHistory::conversations(DraftPlace place) {
  if (const auto* const one = std::get_if<ConversationId>(&place)) co_return std::deque{*one};
  const auto summaries = co_await application_.conversations().conversations(
      {.project = std::get<ProjectId>(place), .limit = kMostConversations});
  std::deque<ConversationId> ids;
  for (const ConversationSummary& summary : summaries) ids.push_back(summary.conversation.id);
  co_return ids;
}

awaitable<void> PromptHistory::readEarlier(DraftPlace place, Turns::Turn turn) {
  if (!turns_.isLatest(turn)) co_return;
  const std::size_t known = prompts_.size();
  if (!unread_) {
    auto found = co_await alive(conversations(place));
    if (!turns_.isLatest(turn)) co_return;
    unread_ = std::move(found);
  }
  while (prompts_.size() == known && !unread_->empty()) {
    const std::vector<ConversationItem> page =
        co_await alive(application_.transcripts().page(unread_->front(), earliest_, PageDirection::before, kPage));
    if (!turns_.isLatest(turn)) co_return;
    if (page.empty()) {
      unread_->pop_front();
      earliest_.reset();
    } else {
      earliest_ = page.front().id;
    }
    for (const ConversationItem& item : page | std::views::reverse) {
      if (kindOf(item) != ConversationItemKind::userMessage) continue;
      const QString text = QString::fromStdString(item.text);
      if (prompts_.empty() || prompts_.back() != text) prompts_.push_back(text);
    }
  }
  isComplete_ = unread_->empty();
  isReading_ = false;
  if (position_ < prompts_.size()) show(position_ + 1);
}

}  // namespace ravant::desktop
