#include "core/store/search/search_letter.hpp"

#include <array>

#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

/// Of one that sets a colour or the like; 0 where there is none.
std::size_t escapeSequenceSize(std::string_view text) {
  if (!text.starts_with("\x1b[")) return 0;
  std::size_t end = 2;
  while (end < text.size() && text[end] >= ' ' && text[end] <= '?') ++end;
  return end < text.size() && text[end] >= '@' && text[end] <= '~' ? end + 1 : 0;
}

constexpr unsigned char kEscape = 0x1B;
constexpr std::array<SearchLetter, 0x80> kAscii = [] {
  std::array<SearchLetter, 0x80> all{};
  for (char32_t code = 0; code < 0x80; ++code) {
    SearchLetter& one = all.at(code);
    one = {.folded = code, .size = 1, .kind = LetterKind::symbol};
    if (code <= 0x20 || code == 0x7F) one = {.folded = ' ', .size = 1, .kind = LetterKind::blank};
    if ((code >= 'a' && code <= 'z') || (code >= '0' && code <= '9')) one.kind = LetterKind::letter;
    if (code >= 'A' && code <= 'Z') one = {.folded = code + 0x20, .size = 1, .kind = LetterKind::upper};
  }
  return all;
}();

}  // namespace

const SearchLetter& asciiLetter(char character) { return kAscii[static_cast<unsigned char>(character)]; }

SearchLetter searchLetterAt(std::string_view text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  if (lead == kEscape) {
    if (const std::size_t size = escapeSequenceSize(text.substr(at))) return {lead, size, LetterKind::mark};
  }
  if (lead < 0x80) return kAscii[lead];
  const Utf8Character character = characterAt(text, at);
  const Letter letter = letterOf(character.code);
  return {letter.base, character.size, letter.kind};
}

std::string foldedForSearch(std::string_view text) {
  std::string all;
  all.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const SearchLetter letter = searchLetterAt(text, at);
    at += letter.size;
    if (letter.kind != LetterKind::mark) appendUtf8(all, letter.folded);
  }
  return all;
}

std::optional<TextSpan> findFolded(std::string_view text, std::string_view folded) {
  const std::size_t found = foldedForSearch(text).find(folded);
  if (found == std::string::npos) return std::nullopt;
  TextSpan span{.begin = 0, .end = text.size()};
  std::string character;
  std::size_t position = 0;
  for (std::size_t at = 0; at < text.size();) {
    const SearchLetter letter = searchLetterAt(text, at);
    if (letter.kind != LetterKind::mark) {
      if (position == found) span.begin = at;
      if (position >= found + folded.size()) {
        span.end = at;
        break;
      }
      character.clear();
      appendUtf8(character, letter.folded);
      position += character.size();
    }
    at += letter.size;
  }
  return span;
}

}  // namespace ravant
