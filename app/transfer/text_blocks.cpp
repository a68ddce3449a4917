#include "app/transfer/text_blocks.hpp"

#include <algorithm>

#include "core/conversation_state.hpp"
#include "platform/clock/clock.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kInputCharacters = 100;

}  // namespace

std::string shownTitle(const ExportedConversation& exported) {
  return oneLine(displayTitle(exported.conversation.title.value_or(""), exported.firstWords.value_or("")));
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

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string_view withoutBlankEnds(std::string_view text) {
  const std::size_t last = text.find_last_not_of(" \t\n");
  if (last == std::string_view::npos) return {};
  text = text.substr(0, last + 1);
  const std::size_t lineBegin = text.substr(0, text.find_first_not_of(" \t\n")).rfind('\n') + 1;
  return text.substr(lineBegin);
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
