#include "desktop/text/markdown_tables.hpp"

#include <algorithm>
#include <array>

#include "desktop/text/html_writer.hpp"
#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::size_t kLongestUnit = 3;

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }
bool isLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }

bool skip(std::string_view& text, std::initializer_list<std::string_view> any) {
  const auto* const found = std::ranges::find_if(any, [&](std::string_view mark) { return text.starts_with(mark); });
  if (found == any.end()) return false;
  text.remove_prefix(found->size());
  text = trimmed(text);
  return true;
}

bool isUnit(std::string_view text) {
  constexpr std::array<std::string_view, 6> kMarks{"%", "‰", "×", "µs", "°C", "€"};
  return text.empty() || std::ranges::find(kMarks, text) != kMarks.end() ||
         (text.size() <= kLongestUnit && std::ranges::all_of(text, isLetter));
}

bool isNothing(std::string_view cell) { return cell.empty() || cell == "-" || cell == "–" || cell == "—"; }

}  // namespace

bool isNumeric(std::string_view cell) {
  cell = trimmed(cell);
  while (skip(cell, {"+", "-", "−", "±", "~", "≈", "<", ">", "≤", "≥", "$", "€", "£"})) {
  }
  if (cell.empty() || !isDigit(cell.front())) return false;
  const auto isPart = [](char byte) {
    return isDigit(byte) || byte == '.' || byte == ',' || byte == '\'' || byte == '_';
  };
  const auto* const end = std::ranges::find_if_not(cell, isPart);
  return isUnit(trimmed({end, cell.end()}));
}

bool isNumericColumn(const MarkdownTable& table, std::size_t column) {
  bool hasNumber = false;
  for (const auto& row : table.rows) {
    const std::string cell = plainText(row[column]);
    if (isNothing(trimmed(cell))) continue;
    if (!isNumeric(cell)) return false;
    hasNumber = true;
  }
  return hasNumber;
}

}  // namespace ravant::desktop
