#include "desktop/text/parser_input.hpp"

#include <algorithm>
#include <iterator>
#include <span>

namespace ravant::desktop {
namespace {

constexpr char kInert = '(';
constexpr int kDeepestInLine = 100;
/// Closing brackets times lines of what may be one paragraph. md4c walks through the lines for each link: 10 ms.
constexpr std::size_t kMostSteps = 2'000'000;

bool isBlank(char byte) { return byte == ' ' || byte == '\t'; }
bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

/// The length of the mark of a container (`>`, `-`, `12.`) that `line` begins with; 0 where there is none.
std::size_t containerMark(std::string_view line) {
  if (line.starts_with('>')) return 1;
  std::size_t end = 0;
  while (end < line.size() && isDigit(line[end])) ++end;
  const std::string_view closers = end == 0 ? "-+*" : ".)";
  if (end >= line.size() || !closers.contains(line[end])) return 0;
  return end + 1 == line.size() || isBlank(line[end + 1]) ? end + 1 : 0;
}

/// Takes their meaning from the marks that begin `line` beyond the deepest.
void flatten(std::span<char> line) {
  int depth = 0;
  for (std::size_t i = 0; i < line.size();) {
    if (isBlank(line[i])) {
      ++i;
      continue;
    }
    const std::size_t mark = containerMark(std::string_view(line).substr(i));
    if (mark == 0) break;
    if (++depth > kDeepestInLine) std::ranges::fill(line.subspan(i, mark), kInert);
    i += mark;
  }
}

bool isTableRow(std::string_view line) {
  const std::size_t quoted = line.find_first_not_of(" \t>");
  return quoted != std::string_view::npos && line[quoted] == '|' && line.contains("||");
}

/// The line below the header of a table, as far as can be told from it alone.
bool isDelimiterRow(std::string_view line) {
  const std::size_t quoted = line.find_first_not_of(" \t>");
  if (quoted == std::string_view::npos) return false;
  line.remove_prefix(quoted);
  return containerMark(line) == 0 && line.contains('|') && line.contains('-') &&
         line.find_first_not_of(" \t|:-") == std::string_view::npos;
}

/// Lines without a blank one between them.
struct Stretch {
  std::size_t begin = 0;
  std::size_t lines = 0;
  std::size_t brackets = 0;
};

void unlink(std::span<char> stretch, std::size_t lines, std::size_t brackets) {
  if (brackets == 0 || lines <= kMostSteps / brackets) return;
  std::ranges::replace_if(stretch, [](char byte) { return byte == '[' || byte == ']'; }, kInert);
}

}  // namespace

ParserInput::ParserInput(std::string_view markdown) {
  text_.reserve(markdown.size());
  Stretch stretch;
  const auto endStretch = [&] {
    unlink(std::span(text_).subspan(stretch.begin), stretch.lines, stretch.brackets);
    stretch = {.begin = text_.size()};
  };
  while (!markdown.empty()) {
    const std::size_t end = std::min(markdown.find_first_of("\r\n"), markdown.size());
    const std::string_view line = markdown.substr(0, end);
    if (std::ranges::all_of(line, isBlank)) {
      endStretch();
    } else {
      ++stretch.lines;
      stretch.brackets += static_cast<std::size_t>(std::ranges::count(line, ']'));
    }
    addLine(line);
    const std::size_t breaks =
        markdown.substr(end).starts_with("\r\n") ? 2 : std::min<std::size_t>(1, markdown.size() - end);
    text_ += markdown.substr(end, breaks);
    markdown.remove_prefix(end + breaks);
  }
  endStretch();
}

std::size_t ParserInput::original(std::size_t offset) const {
  const auto behind = std::ranges::upper_bound(inserted_, offset, {}, &Inserted::at);
  if (behind == inserted_.begin()) return offset;
  const auto& [at, count, before] = *std::prev(behind);
  return std::max(offset, at + count) - count - before;
}

void ParserInput::addLine(std::string_view line) {
  if (isDelimiterRow(line)) return addDelimiters(line);
  if (isTableRow(line)) return addCells(line);
  const std::size_t begin = text_.size();
  text_ += line;
  std::replace(text_.begin() + static_cast<std::ptrdiff_t>(begin), text_.end(), '\0', kInert);
  flatten(std::span(text_).subspan(begin));
}

void ParserInput::addDelimiters(std::string_view line) {
  constexpr std::size_t kDashes = 3;
  while (!line.empty()) {
    const std::size_t begin = std::min(line.find('-'), line.size());
    const std::size_t end = std::min(line.find_first_not_of('-', begin), line.size());
    text_ += line.substr(0, end);
    line.remove_prefix(end);
    if (end == begin || end - begin >= kDashes) continue;
    insert(kDashes - (end - begin), '-');
  }
}

void ParserInput::addCells(std::string_view line) {
  while (!line.empty()) {
    const std::size_t end = std::min(line.find("||"), line.size() - 1) + 1;
    text_ += line.substr(0, end);
    line.remove_prefix(end);
    if (!line.empty()) insert(1, ' ');
  }
}

void ParserInput::insert(std::size_t count, char byte) {
  const std::size_t before = inserted_.empty() ? 0 : inserted_.back().before + inserted_.back().count;
  inserted_.push_back({text_.size(), count, before});
  text_.append(count, byte);
}

}  // namespace ravant::desktop
