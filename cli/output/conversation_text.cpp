#include "cli/output/conversation_text.hpp"

#include <fmt/format.h>

#include "core/conversation_state.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kShortIdSize = 8;

std::string stateWords(const ConversationSummary& summary) {
  const ConversationState state = stateOf(summary);
  switch (state) {
    case ConversationState::failed:
    case ConversationState::running:
    case ConversationState::interrupted:
      return std::string(rawValue(state));
    case ConversationState::unread:
      return fmt::format("{} unread", summary.unread);
    case ConversationState::draft:
    case ConversationState::quiet:
      return {};
  }
  __builtin_unreachable();
}

}  // namespace

std::string stateMark(const ConversationSummary& summary) {
  const std::string words = stateWords(summary);
  if (!summary.conversation.archived) return words;
  return words.empty() ? "archived" : fmt::format("archived, {}", words);
}

std::string shortId(const ConversationId& id) { return id.text().substr(0, kShortIdSize); }

}  // namespace ravant::cli
