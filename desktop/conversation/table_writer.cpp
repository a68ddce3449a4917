#include "desktop/conversation/table_writer.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "desktop/text/html_writer.hpp"
#include "desktop/text/markdown_tables.hpp"

namespace ravant::desktop {
namespace {

/// Characters, of which nobody says that one cell may take the width of all others.
constexpr std::size_t kWidest = 80;

std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

std::string_view nameOf(ColumnAlignment alignment) {
  switch (alignment) {
    case ColumnAlignment::left:
      return "left";
    case ColumnAlignment::center:
      return "center";
    case ColumnAlignment::right:
      break;
  }
  return "right";
}

}  // namespace

TableWriter::TableWriter(const MarkdownTable& table, bool isInPieces) : table_(table) {
  for (std::size_t column = 0; column < table.alignments.size(); ++column) {
    const bool isRight = table.alignments[column] == ColumnAlignment::left && isNumericColumn(table, column);
    alignments_.push_back(isRight ? ColumnAlignment::right : table.alignments[column]);
  }
  if (!isInPieces) return;
  widths_.resize(table.alignments.size());
  const auto measure = [&](const std::vector<std::string>& cells) {
    for (std::size_t column = 0; column < cells.size(); ++column) {
      const std::size_t width = std::min(characters(desktop::plainText(cells[column])), kWidest);
      widths_[column] = std::max(widths_[column], width);
    }
  };
  measure(table.header);
  for (const auto& row : table.rows) measure(row);
}

std::string TableWriter::line(std::string_view tag, const std::vector<std::string>& cells) const {
  std::string html = "<tr>";
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const std::string width = widths_.empty() ? "" : fmt::format(" width=\"{}\"", widths_[column]);
    html += fmt::format("<{} align=\"{}\"{} style=\"padding: 3px 16px 3px {}px\">{}</{}>", tag,
                        nameOf(alignments_[column]), width, column == 0 ? 0 : 16, cells[column], tag);
  }
  return html + "</tr>";
}

std::string TableWriter::html(std::size_t begin, std::size_t end) const {
  std::string html = "<table cellspacing=\"0\">";
  if (begin == 0) html += line("th", table_.header);
  for (std::size_t row = begin; row < end; ++row) html += line("td", table_.rows[row]);
  return html + "</table>";
}

std::string TableWriter::plainText(std::size_t begin, std::size_t end) const {
  MarkdownTable part{.alignments = table_.alignments, .header = table_.header, .rows = {}};
  part.rows.assign(table_.rows.begin() + static_cast<std::ptrdiff_t>(begin),
                   table_.rows.begin() + static_cast<std::ptrdiff_t>(end));
  return desktop::plainText(MarkdownBlock{.kind = MarkdownBlockKind::table, .table = std::move(part)});
}

}  // namespace ravant::desktop
