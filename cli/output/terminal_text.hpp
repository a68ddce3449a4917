#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "cli/output/output.hpp"
#include "platform/text/text.hpp"

namespace ravant::cli {

/// The columns that valid text without control characters takes on a terminal.
std::size_t displayWidth(std::string_view text);

/// At most `columns` wide; what was cut is marked by `…`.
std::string cutToWidth(std::string_view text, std::size_t columns);

/// A path of whatever bytes, harmless to a terminal: in quotes with escapes, as git shows it, where it has control
/// characters, quotes, backslashes, blanks at its ends or bytes that are no UTF-8 (git-config(1),
/// core.quotePath=false).
std::string shownPath(std::string_view path);

std::vector<std::string_view> linesOf(std::string_view text);

/// Aligned columns under headings.
class Table {
 public:
  /// The columns in `whole`, counted from 0, are never cut: people type what stands there.
  explicit Table(std::vector<std::string> headings, std::set<std::size_t> whole = {})
      : headings_(std::move(headings)), whole_(std::move(whole)) {}

  /// Any text: it is made harmless, and each cell one line.
  void add(const std::vector<std::string>& cells);
  /// Nothing where no row was added. Where the terminal is too narrow, the widest columns are cut; where that is not
  /// enough, each row becomes lines of its own.
  std::string text(const Style& style) const;

 private:
  bool fit(std::vector<std::size_t>& widths, std::size_t columns) const;
  std::string row(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const;
  std::string rowsApart(const Style& style) const;

  std::vector<std::string> headings_;
  std::set<std::size_t> whole_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace ravant::cli
