#pragma once

#include <string>
#include <vector>

#include "desktop/text/markdown_blocks.hpp"

namespace ravant::desktop {

/// Writes the rows of a table as HTML that `ProseStyle::page` shows, in one or several pieces whose columns stand below
/// each other.
class TableWriter {
 public:
  /// The table outlives this.
  TableWriter(const MarkdownTable& table, bool isInPieces);

  /// With the header where it begins at the first row.
  std::string html(std::size_t begin, std::size_t end) const;
  std::string plainText(std::size_t begin, std::size_t end) const;

 private:
  std::string line(std::string_view tag, const std::vector<std::string>& cells) const;

  const MarkdownTable& table_;
  /// As the table says, but columns of numbers that are not centred stand at the right.
  std::vector<ColumnAlignment> alignments_;
  /// Characters of the widest cell; empty where a piece is all of it.
  std::vector<std::size_t> widths_;
};

}  // namespace ravant::desktop
