#include "app/transfer/markdown_prose.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "app/transfer/text_blocks.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::size_t kCodeIndent = 4;
constexpr std::size_t kLongestBegin = 1024;  // of a path, up to its first slash
constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kDigits = "0123456789";

bool isBlank(std::string_view line) { return line.find_first_not_of(kBlanks) == std::string_view::npos; }

struct Indent {
  std::size_t bytes = 0;
  std::size_t columns = 0;
};

/// Up to `most` columns of it.
Indent indentOf(std::string_view line, std::size_t most = std::string_view::npos) {
  Indent indent;
  for (; indent.bytes < line.size() && indent.columns < most && kBlanks.contains(line[indent.bytes]); ++indent.bytes) {
    indent.columns += line[indent.bytes] == ' ' ? 1 : kCodeIndent - indent.columns % kCodeIndent;
  }
  return indent;
}

/// Whether an item of a list begins here, or could.
bool isListItem(std::string_view line) {
  const std::string_view rest = line.substr(indentOf(line).bytes);
  const std::size_t digits = std::min(rest.find_first_not_of(kDigits), rest.size());
  const std::string_view marks = digits > 0 ? ".)" : "-+*";
  if (digits == rest.size() || !marks.contains(rest[digits])) return false;
  return digits + 1 == rest.size() || kBlanks.contains(rest[digits + 1]);
}

/// Finds out of each line what it is, from those before it.
class LineReader {
 public:
  ProsePart::Kind kindOf(std::string_view line) {
    const std::size_t columns = indentOf(line).columns;
    const bool follows = std::exchange(followsText_, true);
    if (isListItem(line) && !(columns >= kCodeIndent && !isInList_)) {
      isInList_ = true;
      return ProsePart::Kind::prose;
    }
    if (!follows && columns < 2) isInList_ = false;
    if (follows || isInList_ || columns < kCodeIndent) return ProsePart::Kind::prose;
    followsText_ = false;
    return ProsePart::Kind::indentedCode;
  }

  void takeBlank() { followsText_ = false; }

 private:
  bool isInList_ = false;
  bool followsText_ = false;  ///< without a blank line between, so that the line may go on with a paragraph
};

std::size_t runOf(std::string_view text, std::size_t begin) {
  return std::min(text.find_first_not_of('`', begin), text.size()) - begin;
}

/// Behind the code span that begins at `open`; nothing where it does not end on the line.
std::optional<std::size_t> endOfSpan(std::string_view text, std::size_t open) {
  const std::size_t length = runOf(text, open);
  for (std::size_t at = open + length;;) {
    const std::size_t close = text.find_first_of("`\n", at);
    if (close == std::string_view::npos || text[close] == '\n') return std::nullopt;
    const std::size_t found = runOf(text, close);
    at = close + found;
    if (found == length) return at;
  }
}

/// Whether a table may be in the paragraph: it has a line of dashes between its columns.
bool canBeTable(std::string_view paragraph) {
  return paragraph.contains('|') && std::ranges::any_of(linesOf(paragraph), [](std::string_view line) {
           return line.contains('-') && line.find_first_not_of("|-: \t>*+0123456789.)") == std::string_view::npos;
         });
}

/// Whether what stands in code spans is known without reading Markdown as each reader does.
bool hasSureSpans(std::string_view paragraph) {
  if (paragraph.contains("\\`")) return false;
  const bool isTable = canBeTable(paragraph);
  for (std::size_t open = paragraph.find('`'); open != std::string_view::npos;) {
    const auto end = endOfSpan(paragraph, open);
    // The cells of a table are cut before code is seen.
    if (!end || (isTable && paragraph.substr(open, *end - open).contains('|'))) return false;
    open = paragraph.find('`', *end);
  }
  return true;
}

bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool beginsAsWebOrMail(std::string_view address) {
  const std::string begin = lowerCase(address.substr(0, 8));
  return begin.starts_with("https://") || begin.starts_with("http://") || begin.starts_with("mailto:");
}

/// Behind the address in angle brackets that begins at `open`.
std::optional<std::size_t> endOfAutolink(std::string_view text, std::size_t open) {
  const std::size_t close = text.find_first_of("<>` \t\n", open + 1);
  if (close == std::string_view::npos || text[close] != '>') return std::nullopt;
  const std::string_view address = text.substr(open + 1, close - open - 1);
  const std::size_t at = address.find('@');
  const bool isMail = at != std::string_view::npos && at > 0 && address.find_first_of(":/\\&\"'=") == std::string::npos;
  return isMail || beginsAsWebOrMail(address) ? std::optional(close + 1) : std::nullopt;
}

/// Of an inline link, from behind its parenthesis. A path has no colon in its first part, however that is written.
bool leadsSomewhereHarmless(std::string_view destination) {
  destination.remove_prefix(std::min(destination.find_first_not_of(kBlanks), destination.size()));
  const bool isBracketed = destination.starts_with('<');
  if (isBracketed) destination.remove_prefix(1);
  if (destination.empty() || destination.front() == '\n') return false;
  if (beginsAsWebOrMail(destination)) return true;
  const std::string_view begin = destination.substr(0, kLongestBegin);
  const std::size_t end = begin.find_first_of(isBracketed ? "/?#>\n" : "/?#) \n");
  return end != std::string_view::npos && begin.substr(0, end).find_first_of(":&\\\t") == std::string_view::npos;
}

class InertText {
 public:
  explicit InertText(std::string_view paragraph)
      : text_(paragraph), keepsSpans_(hasSureSpans(paragraph)), lastLink_(paragraph.rfind("](")) {
    for (std::size_t i = 0; i < text_.size();) i = take(i);
  }
  std::string words() && { return std::move(words_); }

 private:
  std::size_t take(std::size_t i) {
    if (text_[i] == '`' && keepsSpans_) return keep(i, endOfSpan(text_, i).value());
    if (text_[i] == '<') {
      if (const auto end = endOfAutolink(text_, i)) return keep(i, *end);
      const char next = i + 1 < text_.size() ? text_[i + 1] : ' ';
      if (isAsciiLetter(next) || next == '/' || next == '!' || next == '?') return replace(i, "&lt;");
    }
    const std::string_view rest = text_.substr(i);
    if (rest.starts_with("![") && lastLink_ != std::string_view::npos && i < lastLink_) return replace(i, "&#33;");
    if (rest.starts_with("[^")) return replace(i, "&#91;");
    if (rest.starts_with("]:")) return replace(keep(i, i + 1), "&#58;");
    if (rest.starts_with("](") && !leadsSomewhereHarmless(rest.substr(2))) return replace(keep(i, i + 1), "&#40;");
    return keep(i, i + 1);
  }

  std::size_t keep(std::size_t begin, std::size_t end) {
    words_ += text_.substr(begin, end - begin);
    return end;
  }

  /// A backslash that escapes the character would make the entity plain text.
  std::size_t replace(std::size_t i, std::string_view entity) {
    const std::size_t last = words_.find_last_not_of('\\');
    const std::size_t backslashes = words_.size() - (last == std::string::npos ? 0 : last + 1);
    if (backslashes % 2 == 1) words_.pop_back();
    words_ += entity;
    return i + 1;
  }

  std::string_view text_;
  bool keepsSpans_;
  std::size_t lastLink_;
  std::string words_;
};

}  // namespace

std::vector<ProsePart> proseParts(std::string_view prose) {
  std::vector<ProsePart> parts;
  LineReader reader;
  for (const std::string_view line : linesOf(prose)) {
    if (isBlank(line)) {
      reader.takeBlank();
      continue;
    }
    const ProsePart::Kind kind = reader.kindOf(line);
    if (parts.empty() || parts.back().kind != kind) {
      parts.push_back({.kind = kind, .text = line});
    } else {
      std::string_view& text = parts.back().text;
      text = prose.substr(static_cast<std::size_t>(text.data() - prose.data()),
                          static_cast<std::size_t>(line.data() + line.size() - text.data()));
    }
  }
  return parts;
}

std::string withBlankIndent(std::string_view line, ProsePart::Kind kind) {
  const Indent indent = kind == ProsePart::Kind::prose ? indentOf(line) : indentOf(line, kCodeIndent);
  return std::string(indent.columns, ' ').append(line.substr(indent.bytes));
}

std::string inertProse(std::string_view prose) {
  std::string inert;
  std::size_t begin = 0;
  const auto end = [&](std::size_t at) {
    inert += InertText(prose.substr(begin, at - begin)).words();
    begin = at;
  };
  for (std::size_t at = 0; at < prose.size();) {
    const std::size_t next = std::min(prose.find('\n', at), prose.size());
    if (isBlank(prose.substr(at, next - at))) end(at);
    at = std::min(next + 1, prose.size());
  }
  end(prose.size());
  return inert;
}

}  // namespace ravant
