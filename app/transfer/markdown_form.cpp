#include <fmt/format.h>

#include <algorithm>

#include "app/transfer/text_blocks.hpp"
#include "app/transfer/transcript_form.hpp"
#include "platform/clock/clock.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::string_view kQuote = "> ";

std::size_t runOf(std::string_view text, std::size_t begin) {
  const std::size_t end = std::min(text.find_first_not_of('`', begin), text.size());
  return end - begin;
}

/// Whether every run of backticks on the line ends a code span that began on it, so that what stands in one is known
/// without the lines around it.
bool hasWholeSpans(std::string_view line) {
  if (line.contains("\\`")) return false;
  for (std::size_t open = line.find('`'); open != std::string_view::npos;) {
    const std::size_t length = runOf(line, open);
    std::size_t close = line.find('`', open + length);
    while (close != std::string_view::npos && runOf(line, close) != length) {
      close = line.find('`', close + runOf(line, close));
    }
    // The cells of a table are cut before code is seen.
    if (close == std::string_view::npos || line.substr(open, close - open).contains('|')) return false;
    open = line.find('`', close + length);
  }
  return true;
}

/// As entities, which no backslash in front undoes.
std::string_view escapedAt(std::string_view line, std::size_t i) {
  if (line[i] == '<') return "&lt;";
  if (line.substr(i).starts_with("[^")) return "&#91;";
  if (line[i] == ':' && i > 0 && line[i - 1] == ']') return "&#58;";
  return line.substr(i, 1);
}

/// Escapes what could begin a tag, and what makes a footnote or gives a link its address: both count beyond the quote.
/// In code spans it stays, where they are whole.
std::string withoutTags(std::string_view line, bool keepsSpans) {
  std::string safe;
  for (std::size_t i = 0; i < line.size();) {
    if (keepsSpans && line[i] == '`') {
      const std::size_t length = runOf(line, i);
      std::size_t close = line.find('`', i + length);
      while (runOf(line, close) != length) close = line.find('`', close + runOf(line, close));
      safe += line.substr(i, close + length - i);
      i = close + length;
    } else {
      safe += escapedAt(line, i);
      ++i;
    }
  }
  return safe;
}

template <class Take>
void eachLine(std::string_view text, Take take) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    take(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

std::string quotedProse(std::string_view words) {
  const std::string safe = terminalSafe(words);
  bool keepsSpans = true;
  eachLine(safe, [&](std::string_view line) { keepsSpans = keepsSpans && hasWholeSpans(line); });
  std::string quoted;
  eachLine(trimmed(safe),
           [&](std::string_view line) { quoted.append(kQuote).append(withoutTags(line, keepsSpans)).append("\n"); });
  return quoted;
}

/// Longer than any run of backticks in the text.
std::string fenceFor(std::string_view text) {
  std::size_t longest = 2;
  for (std::size_t i = text.find('`'); i != std::string_view::npos; i = text.find('`', i + runOf(text, i))) {
    longest = std::max(longest, runOf(text, i));
  }
  return std::string(longest + 1, '`');
}

std::string fenced(std::string_view code, std::string_view language, std::string_view prefix) {
  const std::string safe = terminalSafe(code);
  const std::string fence = fenceFor(safe);
  std::string info = oneLine(language);
  std::erase(info, '`');
  std::string text = fmt::format("{}{}{}\n", prefix, fence, info);
  text.reserve(safe.size() + safe.size() / 16);
  eachLine(safe, [&](std::string_view line) { text.append(prefix).append(line).append("\n"); });
  return text.append(prefix).append(fence).append("\n");
}

/// A title as plain words: nothing in it is a mark.
std::string plainWords(std::string_view words) {
  std::string plain;
  for (const char c : oneLine(words)) {
    if (std::string_view("\\`*_[]<>&#|~!").contains(c)) plain += '\\';
    plain += c;
  }
  return plain;
}

std::string messageText(const ConversationItem& item, const AgentMessage& message) {
  if (message.blocks.empty()) return quotedProse(item.text);
  std::string text;
  for (const MessageBlock& block : message.blocks) {
    const bool isCode = block.kind == MessageBlockKind::code;
    std::string piece = isCode ? fenced(block.text, block.language.value_or(""), kQuote) : quotedProse(block.text);
    if (!text.empty() && !piece.empty()) text += '\n';  // in quotes of its own, which end whatever was left open
    text += piece;
  }
  return text;
}

std::string callText(const ToolInvocation& call) {
  const std::string input = htmlEscaped(shownInput(call));
  std::string text =
      fmt::format("\n<details>\n<summary>{} {}{}</summary>\n", statusMark(call.status),
                  htmlEscaped(oneLine(call.toolName)), input.empty() ? "" : fmt::format(" <code>{}</code>", input));
  if (call.input) text += "\nInput:\n\n" + fenced(*call.input, "", "");
  if (call.output) text += "\nOutput:\n\n" + fenced(*call.output, "", "");
  return text += "\n</details>\n";
}

class MarkdownForm final : public TranscriptForm {
 public:
  std::string beginning(const ExportedConversation& exported) override {
    const Conversation& conversation = exported.conversation;
    std::string text =
        fmt::format("# {}\n\n- Conversation: {}\n- Project: {}, {}\n", plainWords(shownTitle(exported)),
                    conversation.id.text(), plainWords(exported.projectName), plainWords(exported.projectPath));
    if (exported.agentType) text += fmt::format("- Agent: {}\n", displayName(*exported.agentType));
    if (conversation.lastUsedModel) text += fmt::format("- Model: {}\n", plainWords(*conversation.lastUsedModel));
    if (const auto& item = conversation.workItem) {
      text += fmt::format("- About: {}, {}\n", plainWords(item->name), plainWords(item->url));
    }
    return text +
           fmt::format("- From {} to {}\n", iso8601(conversation.createdAt), iso8601(conversation.lastActivityAt));
  }

  std::string entry(const ConversationItem& item) override {
    const std::string time = iso8601(item.createdAt);
    switch (kindOf(item)) {
      case ConversationItemKind::userMessage: {
        const std::string end = shownEnd(std::get<UserMessage>(item.detail));
        return fmt::format("\n## Prompt, {}\n\n{}{}", time, end.empty() ? "" : fmt::format("Ended: {}\n\n", end),
                           quotedProse(item.text));
      }
      case ConversationItemKind::agentMessage: {
        const auto& message = std::get<AgentMessage>(item.detail);
        const std::string model = message.agentModel ? ", " + plainWords(*message.agentModel) : "";
        return fmt::format("\n## Reply, {}{}\n\n{}", time, model, messageText(item, message));
      }
      case ConversationItemKind::toolInvocationGroup: {
        std::string text = fmt::format("\n## Tools, {}\n", time);
        for (const ToolInvocation& call : std::get<ToolInvocationGroup>(item.detail).invocations)
          text += callText(call);
        return text;
      }
      case ConversationItemKind::compactionEvent:
        return fmt::format("\n## Compaction, {}\n\n{}", time, quotedProse(item.text));
      case ConversationItemKind::failureEvent:
        return fmt::format("\n## Failure, {}\n\n{}", time, quotedProse(item.text));
    }
    __builtin_unreachable();
  }

  std::string end() override { return {}; }
};

}  // namespace

std::unique_ptr<TranscriptForm> markdownForm() { return std::make_unique<MarkdownForm>(); }

}  // namespace ravant
