#include "desktop/composer/prompt_history.hpp"

#include <ranges>

namespace ravant::desktop {
namespace {

constexpr std::int64_t kPage = 60;

}  // namespace

void PromptHistory::open(std::optional<ConversationId> conversation) {
  conversation_ = conversation;
  end();
}

void PromptHistory::end() {
  turns_.take();
  prompts_.clear();
  earliest_.reset();
  isComplete_ = !conversation_;
  isReading_ = false;
  position_ = 0;
  current_.reset();
}

void PromptHistory::goBack() {
  if (position_ < prompts_.size()) {
    show(position_ + 1);
  } else if (!isComplete_ && !isReading_) {
    start(readEarlier());
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

awaitable<void> PromptHistory::readEarlier() {
  isReading_ = true;
  const auto turn = turns_.take();
  const std::size_t known = prompts_.size();
  while (prompts_.size() == known && !isComplete_) {
    const std::vector<ConversationItem> page =
        co_await alive(application_.transcripts().page(*conversation_, earliest_, PageDirection::before, kPage));
    if (!turns_.isLatest(turn)) co_return;
    isComplete_ = page.empty();
    if (!page.empty()) earliest_ = page.front().id;
    for (const ConversationItem& item : page | std::views::reverse) {
      if (kindOf(item) != ConversationItemKind::userMessage) continue;
      const QString text = QString::fromStdString(item.text);
      if (prompts_.empty() || prompts_.back() != text) prompts_.push_back(text);
    }
  }
  isReading_ = false;
  if (position_ < prompts_.size()) show(position_ + 1);
}

}  // namespace ravant::desktop
