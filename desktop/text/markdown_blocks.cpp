#include "desktop/text/markdown_blocks.hpp"

#include "desktop/text/html_writer.hpp"
#include "desktop/text/markdown_reader.hpp"
#include "desktop/text/shown_text.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::desktop {
namespace {

/// Of text that is read for its structure at all.
constexpr std::size_t kLargest = 64UZ << 20;

void appendRow(std::string& text, const std::vector<std::string>& cells) {
  if (!text.empty()) text += '\n';
  for (std::size_t i = 0; i < cells.size(); ++i) text.append(i == 0 ? "" : ", ").append(plainText(cells[i]));
}

}  // namespace

std::vector<MarkdownBlock> markdownBlocks(std::string_view markdown) {
  const std::string text = repairUtf8(std::string(markdown));
  if (text.size() > kLargest) return {{.kind = MarkdownBlockKind::written, .source = text}};
  return MarkdownReader(text).read();
}

std::string plainText(const MarkdownBlock& block) {
  switch (block.kind) {
    case MarkdownBlockKind::prose:
    case MarkdownBlockKind::heading:
    case MarkdownBlockKind::list:
    case MarkdownBlockKind::quotation:
      return plainText(block.html);
    case MarkdownBlockKind::table: {
      std::string text;
      appendRow(text, block.table->header);
      for (const auto& row : block.table->rows) appendRow(text, row);
      return text;
    }
    case MarkdownBlockKind::code:
    case MarkdownBlockKind::written:
      return shownText(block.source);
    case MarkdownBlockKind::rule:
      return {};
  }
  return {};
}

}  // namespace ravant::desktop
