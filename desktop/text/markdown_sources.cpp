#include "desktop/text/markdown_sources.hpp"

#include <algorithm>

#include "platform/text/text.hpp"

namespace ravant::desktop {
namespace {

constexpr std::string_view kLineBreaks = "\r\n";
constexpr std::size_t kShortestMark = 3;

bool isAllOf(std::string_view line, char character) {
  return !line.empty() && line.find_first_not_of(character) == std::string_view::npos;
}

bool closesFence(std::string_view line, char fence) { return line.size() >= kShortestMark && isAllOf(line, fence); }

bool isRule(std::string_view line) {
  if (line.empty() || !std::string_view("-*_").contains(line.front())) return false;
  return line.find_first_not_of(std::string(" \t") + line.front()) == std::string_view::npos &&
         static_cast<std::size_t>(std::ranges::count(line, line.front())) >= kShortestMark;
}

/// A mark of an item without anything in it.
bool isEmptyItem(std::string_view line) {
  const std::size_t digits = line.find_first_not_of("0123456789");
  if (digits == std::string_view::npos) return false;
  return line.size() == digits + 1 && std::string_view(digits == 0 ? "-+*" : ".)").contains(line.back());
}

/// Goes line by line through the Markdown of one block.
class Lines {
 public:
  Lines(std::string_view markdown, std::size_t at, std::size_t limit) : markdown_(markdown), at_(at), limit_(limit) {}

  std::size_t position() const { return at_; }
  bool atEnd() const { return at_ >= limit_; }
  std::string_view untrimmed() const { return markdown_.substr(at_, end() - at_); }
  std::string_view line() const { return trimmed(untrimmed()); }
  void next() { at_ = behind(at_); }
  /// Behind the line of the byte at `position`.
  void goBehind(std::size_t position) { at_ = behind(position); }
  void skipBlank() {
    while (!atEnd() && line().empty()) next();
  }

 private:
  std::size_t end() const { return std::min(markdown_.find_first_of(kLineBreaks, at_), markdown_.size()); }
  std::size_t behind(std::size_t position) const {
    const std::size_t end = std::min(markdown_.find_first_of(kLineBreaks, position), markdown_.size());
    return std::min(end + (markdown_.substr(end).starts_with("\r\n") ? 2 : 1), markdown_.size());
  }

  std::string_view markdown_;
  std::size_t at_;
  std::size_t limit_;
};

void takeFence(Lines& lines, char fence) {
  Lines ahead = lines;
  ahead.skipBlank();
  if (ahead.atEnd() || !closesFence(ahead.line(), fence)) return;
  ahead.next();
  lines = ahead;
}

/// Moves `lines`, which stand behind what was seen of the block, behind its last mark.
void takeMarks(Lines& lines, const BlockExtent& extent, bool isUnderlined) {
  switch (extent.kind) {
    case MarkdownBlockKind::heading:
      if (isUnderlined && (isAllOf(lines.line(), '=') || isAllOf(lines.line(), '-'))) lines.next();
      return;
    case MarkdownBlockKind::code:
      if (extent.fence != '\0') takeFence(lines, extent.fence);
      return;
    case MarkdownBlockKind::list:
      while (
          !lines.atEnd() && !lines.line().empty() &&
          (isEmptyItem(lines.line()) || lines.untrimmed().starts_with("  ") || lines.untrimmed().starts_with('\t'))) {
        lines.next();
      }
      if (extent.fence != '\0') takeFence(lines, extent.fence);
      return;
    case MarkdownBlockKind::quotation:
      while (!lines.atEnd() && lines.line().starts_with('>')) lines.next();
      return;
    case MarkdownBlockKind::prose:
    case MarkdownBlockKind::table:
    case MarkdownBlockKind::rule:
    case MarkdownBlockKind::written:
      return;
  }
}

/// Behind the marks that are all of a block in which nothing was seen.
void takeEmpty(Lines& lines, const BlockExtent& extent) {
  const auto isMark = [&](std::string_view line) {
    if (extent.kind == MarkdownBlockKind::rule) return isRule(line);
    return extent.kind != MarkdownBlockKind::code || line.starts_with(extent.fence);
  };
  while (!lines.atEnd() && !isMark(lines.line())) lines.next();
  if (!lines.atEnd()) lines.next();
}

std::string_view sourceOf(std::string_view markdown, std::size_t from, std::size_t limit, const BlockExtent& extent) {
  Lines lines(markdown, from, limit);
  lines.skipBlank();
  const std::size_t begin = lines.position();
  if (extent.first) {
    lines.goBehind(std::max(extent.last, *extent.first + 1) - 1);
  } else {
    takeEmpty(lines, extent);
  }
  if (extent.kind == MarkdownBlockKind::table) {
    Lines rows(markdown, begin, limit);
    for (std::size_t row = 0; row < extent.rows + 2 && !rows.atEnd(); ++row) rows.next();
    if (rows.position() > lines.position()) lines = rows;
  }
  takeMarks(lines, extent, !Lines(markdown, begin, limit).line().starts_with('#'));
  const std::size_t end = std::clamp(lines.position(), begin, std::max(begin, limit));
  return markdown.substr(begin, end - begin);
}

std::size_t offsetIn(std::string_view markdown, std::string_view part) {
  return static_cast<std::size_t>(part.data() - markdown.data());
}

}  // namespace

std::vector<std::string_view> sourcesOf(std::string_view markdown, const std::vector<BlockExtent>& extents) {
  std::vector<std::size_t> limits(extents.size(), markdown.size());
  for (std::size_t i = extents.size(); i-- > 1;) {
    const std::size_t line =
        extents[i].first ? markdown.substr(0, *extents[i].first).find_last_of(kLineBreaks) : markdown.npos;
    limits[i - 1] = extents[i].first ? line + 1 : limits[i];
  }
  std::vector<std::string_view> sources;
  std::size_t from = 0;
  for (std::size_t i = 0; i < extents.size(); ++i) {
    sources.push_back(sourceOf(markdown, from, limits[i], extents[i]));
    from = offsetIn(markdown, sources.back()) + sources.back().size();
  }
  return sources;
}

std::string_view restBehind(std::string_view markdown, const std::vector<std::string_view>& sources) {
  const std::size_t from = sources.empty() ? 0 : offsetIn(markdown, sources.back()) + sources.back().size();
  Lines lines(markdown, from, markdown.size());
  lines.skipBlank();
  return markdown.substr(lines.position());
}

}  // namespace ravant::desktop
