#include "cli/output/terminal_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <numeric>
#include <optional>

#include "platform/text/utf8.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kColumnGap = 2;
constexpr std::size_t kNarrowestColumn = 8;
constexpr std::size_t kLongestCharacter = 4;  // bytes of UTF-8
// What follows the backslash stands at the same place as what it stands for.
constexpr std::string_view kEscaped = "\a\b\t\n\v\f\r\"\\";
constexpr std::string_view kEscapes = "abtnvfr\"\\";

/// Tells how wide characters are whatever the user's locale is.
class Utf8Locale {
 public:
  Utf8Locale() : previous_(::uselocale(utf8())) {}
  ~Utf8Locale() { ::uselocale(previous_); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  static locale_t utf8() {
    static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
  }

  locale_t previous_;
};

struct Character {
  std::size_t bytes;
  std::size_t columns;
};

Character firstCharacter(std::string_view text) {
  std::mbstate_t state{};
  wchar_t character = 0;
  const std::size_t bytes = std::mbrtowc(&character, text.data(), text.size(), &state);
  if (bytes == 0 || bytes > text.size()) return {1, 1};
  return {bytes, static_cast<std::size_t>(std::max(0, ::wcwidth(character)))};
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
  const Utf8Locale locale;
  std::size_t width = 0;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    width += character.columns;
    text.remove_prefix(character.bytes);
  }
  return width;
}

std::string cutToWidth(std::string_view text, std::size_t columns) {
  const Utf8Locale locale;
  std::size_t width = 0;
  std::size_t fitting = 0;  // bytes that leave a column for the mark
  for (std::size_t at = 0; at < text.size();) {
    const Character character = firstCharacter(text.substr(at));
    width += character.columns;
    if (width > columns) return std::string(text.substr(0, fitting)) + "…";
    at += character.bytes;
    if (width < columns) fitting = at;
  }
  return std::string(text);
}

std::string shownPath(std::string_view path) {
  std::string shown;
  bool isPlain = !path.starts_with(' ') && !path.ends_with(' ');
  while (!path.empty()) {
    std::size_t length = 1;
    while (length <= kLongestCharacter && !isValidUtf8(path.substr(0, length))) ++length;
    const bool isValid = length <= kLongestCharacter;
    const std::string_view character = path.substr(0, isValid ? length : 1);
    path.remove_prefix(character.size());
    const auto byte = static_cast<unsigned char>(character.front());
    const std::size_t escape = kEscaped.find(character.front());
    if (escape != std::string_view::npos) {
      (shown += '\\') += kEscapes[escape];
    } else if (!isValid || byte < ' ' || byte == '\x7f') {
      shown += fmt::format("\\{:03o}", byte);
    } else {
      shown += character;
      continue;
    }
    isPlain = false;
  }
  return terminalSafe(isPlain ? shown : fmt::format("\"{}\"", shown));
}

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

void Table::add(const std::vector<std::string>& cells) {
  std::vector<std::string>& row = rows_.emplace_back();
  for (const std::string& cell : cells) row.push_back(oneLine(cell));
}

std::string Table::text(const Style& style) const {
  if (rows_.empty()) return {};
  std::vector<std::size_t> widths;
  for (const std::string& heading : headings_) widths.push_back(displayWidth(heading));
  for (const auto& cells : rows_) {
    for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], displayWidth(cells[i]));
  }
  if (style.columns() && !fit(widths, *style.columns())) return rowsApart(style);
  std::string text = style.dim(row(headings_, widths)) + '\n';
  for (const auto& cells : rows_) text += row(cells, widths) + '\n';
  return text;
}

bool Table::fit(std::vector<std::size_t>& widths, std::size_t columns) const {
  const std::size_t gaps = kColumnGap * (widths.size() - 1);
  for (std::size_t total = std::accumulate(widths.begin(), widths.end(), gaps); total > columns; --total) {
    std::optional<std::size_t> widest;
    for (std::size_t i = 0; i < widths.size(); ++i) {
      if (!whole_.contains(i) && (!widest || widths[i] > widths[*widest])) widest = i;
    }
    if (!widest || widths[*widest] <= kNarrowestColumn) return false;
    --widths[*widest];
  }
  return true;
}

std::string Table::rowsApart(const Style& style) const {
  std::size_t width = 0;
  for (const std::string& heading : headings_) width = std::max(width, displayWidth(heading));
  std::string text;
  for (const auto& cells : rows_) {
    if (!text.empty()) text += '\n';
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (cells[i].empty()) continue;
      const std::string gap(width - displayWidth(headings_[i]) + kColumnGap, ' ');
      text.append(style.dim(headings_[i])).append(gap).append(cells[i]) += '\n';
    }
  }
  return text;
}

std::string Table::row(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const {
  std::string text;
  std::size_t gap = 0;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = cutToWidth(cells[i], widths[i]);
    if (!cell.empty()) text.append(std::exchange(gap, 0), ' ') += cell;
    gap += widths[i] - displayWidth(cell) + kColumnGap;
  }
  return text;
}

}  // namespace ravant::cli
