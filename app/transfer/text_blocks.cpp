#include "app/transfer/text_blocks.hpp"

#include "platform/clock/clock.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kInputCharacters = 100;

}  // namespace

std::string shownTitle(const ExportedConversation& exported) {
  std::string title = oneLine(exported.conversation.title.value_or(std::string()));
  return title.empty() ? "Conversation " + exported.conversation.id.text() : title;
}

std::string shownInput(const ToolInvocation& call) {
  // More bytes than are shown can be needed, less than these never.
  const std::string_view input = std::string_view(call.input ? *call.input : call.text).substr(0, 8 * kInputCharacters);
  const std::string line = oneLine(input);
  const std::string_view first = firstCharacters(line, kInputCharacters);
  return first.size() < line.size() ? std::string(first) + "…" : line;
}

std::string shownEnd(const UserMessage& prompt) {
  if (!prompt.endReason) return {};
  std::string words(rawValue(*prompt.endReason));
  if (prompt.endedAt) words += " " + iso8601(*prompt.endedAt);
  return words;
}

std::string_view statusMark(ToolInvocationStatus status) {
  switch (status) {
    case ToolInvocationStatus::running:
      return "…";
    case ToolInvocationStatus::completed:
      return "✓";
    case ToolInvocationStatus::failed:
      return "✗";
  }
  __builtin_unreachable();
}

std::string htmlEscaped(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size() + text.size() / 16);
  for (;;) {
    const std::size_t plain = std::min(text.find_first_of("<>&\"'"), text.size());
    escaped += text.substr(0, plain);
    if (plain == text.size()) return escaped;
    switch (text[plain]) {
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '&':
        escaped += "&amp;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += "&#39;";
    }
    text.remove_prefix(plain + 1);
  }
}

}  // namespace ravant
