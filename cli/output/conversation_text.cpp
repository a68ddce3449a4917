#include "cli/output/conversation_text.hpp"

#include "platform/text/text.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kShortIdSize = 8;

}  // namespace

std::string titleOf(const ConversationSummary& summary) {
  if (summary.conversation.title) return *summary.conversation.title;
  if (!summary.firstWords) return "untitled";
  const std::string_view words = trimmed(*summary.firstWords);
  return std::string(words.substr(0, words.find('\n')));
}

std::string shortId(const ConversationId& id) { return id.text().substr(0, kShortIdSize); }

}  // namespace ravant::cli
