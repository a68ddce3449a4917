#include "desktop/attention/needs_me.hpp"

#include <algorithm>
#include <ranges>

#include "core/conversation_state.hpp"

namespace ravant::desktop {

const ConversationSummary* nextNeedingMe(const std::vector<ConversationSummary>& conversations,
                                         std::optional<ConversationId> shown) {
  const ConversationSummary* first = nullptr;
  bool isBehindShown = false;
  for (const ConversationSummary& summary : conversations | std::views::reverse) {
    if (summary.conversation.id == shown) {
      isBehindShown = true;
      continue;
    }
    const ConversationState state = stateOf(summary);
    if (state != ConversationState::failed && state != ConversationState::unread) continue;
    if (isBehindShown) return &summary;
    if (!first) first = &summary;
  }
  return first;
}

awaitable<void> NeedsMe::go() {
  DesktopWindow& window = DesktopWindow::instance();
  auto conversations = co_await alive(window.application().conversations().conversations({}));
  std::erase_if(conversations, [&](const auto& other) {
    return window.leaving().has(other.conversation.id, other.conversation.project);
  });
  const ConversationSummary* const next = nextNeedingMe(conversations, window.shownConversation());
  if (!next) {
    window.notices()->tell(tr("Nothing needs you."));
    co_return;
  }
  window.state().openConversation(next->conversation.id, next->conversation.project);
}

}  // namespace ravant::desktop
