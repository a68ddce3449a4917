#include "core/conversation_state.hpp"

#include "platform/text/text.hpp"

namespace ravant {

std::string_view rawValue(ConversationState state) {
  switch (state) {
    case ConversationState::failed:
      return "failed";
    case ConversationState::running:
      return "running";
    case ConversationState::interrupted:
      return "interrupted";
    case ConversationState::unread:
      return "unread";
    case ConversationState::draft:
      return "draft";
    case ConversationState::quiet:
      return "quiet";
  }
  __builtin_unreachable();
}

std::string displayTitle(const ConversationSummary& summary) {
  return displayTitle(summary.conversation.title.value_or(""), summary.firstWords.value_or(""));
}

std::string displayTitle(std::string_view title, std::string_view firstWords) {
  if (!trimmed(title).empty()) return std::string(trimmed(title));
  const std::string_view words = trimmed(firstWords);
  return words.empty() ? "untitled" : std::string(words.substr(0, words.find('\n')));
}

ConversationState stateOf(const ConversationSummary& summary) {
  if (summary.end == TranscriptEnd::failed && summary.unread > 0) return ConversationState::failed;
  if (summary.run) return ConversationState::running;
  if (summary.end == TranscriptEnd::interrupted) return ConversationState::interrupted;
  if (summary.unread > 0) return ConversationState::unread;
  return summary.hasDraft ? ConversationState::draft : ConversationState::quiet;
}

}  // namespace ravant
