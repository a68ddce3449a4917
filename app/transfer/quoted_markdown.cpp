#include "app/transfer/quoted_markdown.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "app/transfer/markdown_prose.hpp"
#include "app/transfer/text_blocks.hpp"
#include "core/message_segmenter.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::string_view kQuote = "> ";
constexpr std::size_t kShortestFence = 3;

std::string fenceFor(std::string_view text) {
  std::size_t length = kShortestFence;
  for (std::size_t i = text.find('`'); i != std::string_view::npos;) {
    const std::size_t end = std::min(text.find_first_not_of('`', i), text.size());
    length = std::max(length, end - i + 1);
    i = text.find('`', end);
  }
  return std::string(length, '`');
}

std::string quoted(const ProsePart& part) {
  const std::string text = part.kind == ProsePart::Kind::prose ? inertProse(part.text) : std::string(part.text);
  std::string quote;
  for (const std::string_view line : linesOf(text)) {
    quote.append(kQuote).append(withBlankIndent(line, part.kind)).append("\n");
  }
  return quote;
}

void add(std::string& text, std::string_view quote) {
  if (!text.empty()) text += '\n';
  text += quote;
}

}  // namespace

std::string quotedMarkdown(const std::vector<MessageBlock>& blocks) {
  std::string text;
  for (const MessageBlock& block : blocks) {
    if (block.kind == MessageBlockKind::code) {
      add(text, fencedCode(block.text, block.language.value_or(""), kQuote));
    } else {
      const std::string safe = terminalSafe(block.text);
      for (const ProsePart& part : proseParts(safe)) add(text, quoted(part));
    }
  }
  return text;
}

std::string quotedMarkdown(std::string_view text) { return quotedMarkdown(MessageSegmenter::segments(text)); }

std::string fencedCode(std::string_view code, std::string_view language, std::string_view prefix) {
  const std::string safe = terminalSafe(code);
  const std::string fence = fenceFor(safe);
  std::string info = oneLine(language);
  std::erase(info, '`');
  std::string text = fmt::format("{}{}{}\n", prefix, fence, info);
  text.reserve(safe.size() + safe.size() / 16);
  for (const std::string_view line : linesOf(safe)) text.append(prefix).append(line).append("\n");
  return text.append(prefix).append(fence).append("\n");
}

}  // namespace ravant
