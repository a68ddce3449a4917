#include "desktop/conversation/text_pieces.hpp"

#include <QCoreApplication>
#include <algorithm>

#include "desktop/conversation/item_rows.hpp"

namespace ravant::desktop {
namespace {

/// Bytes in which a blank is looked for, to part a line there.
constexpr std::size_t kLongestWord = 200;

bool isInCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

std::size_t partLength(std::string_view line, std::size_t longest) {
  if (line.size() <= longest) return line.size();
  const std::size_t blank = line.rfind(' ', longest - 1);
  if (blank != std::string_view::npos && blank + kLongestWord > longest) return blank + 1;
  std::size_t end = longest;
  while (end > 1 && isInCharacter(line[end])) --end;
  return end;
}

}  // namespace

std::vector<TextLine> textLines(std::string_view text, std::size_t longest) {
  std::vector<TextLine> lines;
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    std::string_view line = text.substr(begin, end - begin);
    if (end < text.size() && line.ends_with('\r')) line.remove_suffix(1);
    bool begins = true;
    do {
      const std::size_t length = partLength(line, longest);
      lines.push_back({.text = line.substr(0, length), .begins = std::exchange(begins, false)});
      line.remove_prefix(length);
    } while (!line.empty());
    begin = end + 1;
  }
  return lines;
}

std::size_t pieceLength(std::span<const TextLine> lines, PieceLimit limit) {
  std::size_t count = 0;
  for (std::size_t bytes = 0; count < lines.size() && count < limit.lines; ++count) {
    bytes += lines[count].text.size();
    if (bytes > limit.bytes && count > 0) break;
  }
  return count;
}

QString joined(std::span<const TextLine> lines) {
  std::string text;
  for (std::size_t index = 0; index < lines.size(); ++index) {
    if (index > 0) text += '\n';
    text += lines[index].text;
  }
  return shown(text);
}

QString moreWords(std::span<const TextLine> hidden) {
  if (hidden.empty()) return {};
  const auto lines = std::ranges::count(hidden, true, &TextLine::begins);
  if (lines == 1) return QCoreApplication::translate("Transcript", "Show 1 more line");
  if (lines > 1) return QCoreApplication::translate("Transcript", "Show %1 more lines").arg(lines);
  std::size_t bytes = 0;
  for (const TextLine& line : hidden) bytes += line.text.size();
  return QCoreApplication::translate("Transcript", "Show the rest of the line, %1 kB").arg((bytes + 999) / 1000);
}

}  // namespace ravant::desktop
