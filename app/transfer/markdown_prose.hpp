#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// Part of what somebody wrote in Markdown outside of fences: whole lines, without blank ones at the ends.
struct ProsePart {
  enum class Kind { prose, indentedCode };

  Kind kind;
  std::string_view text;
};

/// The parts of the prose. Indented lines in a list count as prose: they may be paragraphs of an item.
std::vector<ProsePart> proseParts(std::string_view prose);

/// The line with blanks for the tabs of its indentation, which mean the same wherever the line is moved to. Those
/// behind the indentation of code belong to the code.
std::string withBlankIndent(std::string_view line, ProsePart::Kind kind);

/// The prose without what counts beyond its place in a document, or does more than to be read. Each is written as an
/// entity, so that it is shown as it was typed:
///
/// - what could begin a tag. An address of the web or mail in angle brackets stays;
/// - what makes an image, which becomes a link: it would be loaded;
/// - what makes a footnote, or gives a link its address from elsewhere in the text;
/// - what makes a link, where it leads to something other than the web, mail or a path.
///
/// Code spans stay where they are sure to be some: each run of backticks of the paragraph ends a span on its own line.
std::string inertProse(std::string_view prose);

}  // namespace ravant
