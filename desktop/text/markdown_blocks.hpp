#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant::desktop {

enum class MarkdownBlockKind { prose, heading, list, quotation, code, table, rule, written };

enum class ColumnAlignment { left, center, right };

/// Each row has as many cells as there are alignments. Cells are HTML of what may stand in a line.
struct MarkdownTable {
  std::vector<ColumnAlignment> alignments;
  std::vector<std::string> header;
  std::vector<std::vector<std::string>> rows;

  bool operator==(const MarkdownTable&) const = default;
};

struct MarkdownBlock {
  MarkdownBlockKind kind = MarkdownBlockKind::prose;
  /// Of prose and headings what stands in the paragraph, of quotations what is quoted, of lists the list. It is written
  /// by `HtmlWriter`: nothing in it but its tags, and links that pass `linkKind`. Of other kinds empty.
  std::string html = {};
  /// What is copied: of code the code, else the Markdown as it was written. To be shown it goes through `shownText`.
  std::string source = {};
  /// Of fenced code: the first word behind the fence, or the file where the word is no language.
  std::optional<std::string> language = std::nullopt;
  /// Of fenced code: the file that is named behind the fence.
  std::optional<std::string> file = std::nullopt;
  /// Of headings, 1 to 6.
  int level = 0;
  std::optional<MarkdownTable> table = std::nullopt;

  bool operator==(const MarkdownBlock&) const = default;
};

/// The blocks of a message, in their order: each list and each quotation with all that is in it is one. The dialect is
/// GitHub's, without raw HTML, which is text. A fence that is not closed yet is code to the end, so that the text of a
/// message that grows may be read again and again, and compared block by block.
///
/// Time and memory are linear in the text, whatever it is. A table of more than 128 columns, and all from the block on
/// where the parser says more than eight times what it was given, is `written`: to be shown as it stands.
std::vector<MarkdownBlock> markdownBlocks(std::string_view markdown);

/// What a screen reader says of `block`: its words without marks, a line for each line that is shown.
std::string plainText(const MarkdownBlock& block);

}  // namespace ravant::desktop
