#include "core/store/search/text_units.hpp"

#include <algorithm>
#include <iterator>

#include "core/store/search/search_letter.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr std::size_t kLongestWord = 40;

UnitKind unitKind(LetterKind kind) {
  switch (kind) {
    case LetterKind::blank:
      return UnitKind::blank;
    case LetterKind::ideograph:
      return UnitKind::ideograph;
    case LetterKind::symbol:
    case LetterKind::mark:
      return UnitKind::symbol;
    case LetterKind::upper:
    case LetterKind::letter:
      return UnitKind::word;
  }
  __builtin_unreachable();
}

bool isExtended(UnitKind kind) { return kind == UnitKind::word || kind == UnitKind::blank; }

/// Where the character begins that `position` is in; a byte that is in none is one.
std::size_t characterBegin(std::string_view text, std::size_t position) {
  for (std::size_t i = 0; i < 4 && i < position && position < text.size(); ++i) {
    if ((static_cast<unsigned char>(text[position - i]) & 0xC0) != 0x80) return position - i;
  }
  return position;
}

/// Folds what the text begins with of ASCII, as nearly all texts have it nearly everywhere. Says how many bytes it
/// were.
std::size_t foldAscii(std::string_view text, bool& isBehindBlank, std::string& folded) {
  constexpr char kEscape = 0x1B;
  const auto isOther = [](char c) { return static_cast<unsigned char>(c) >= 0x80 || c == kEscape; };
  const auto size = static_cast<std::size_t>(std::ranges::find_if(text, isOther) - text.begin());
  std::size_t end = folded.size();
  folded.resize(end + size);
  for (const char c : text.substr(0, size)) {
    const SearchLetter& letter = asciiLetter(c);
    const bool isBlank = letter.kind == LetterKind::blank;
    folded[end] = static_cast<char>(letter.folded);
    end += isBlank && isBehindBlank ? 0 : 1;
    isBehindBlank = isBlank;
  }
  folded.resize(end);
  return size;
}

void appendWord(std::string_view word, std::string& words) { words.append(indexForm(word)) += ' '; }

}  // namespace

void TextUnits::read(std::string_view text) {
  words.clear();
  subwords.clear();
  folded.clear();
  folded.reserve(text.size());
  words.reserve(text.size() / 3);
  subwords.reserve(text.size() / 3);
  LetterKind previous = LetterKind::symbol;
  for (std::size_t at = 0; at < text.size();) {
    const SearchLetter letter = searchLetterAt(text, at);
    const std::size_t begin = at;
    at += letter.size;
    if (letter.kind == LetterKind::mark && !words.empty()) continue;
    const Unit unit{.begin = static_cast<std::uint32_t>(begin),
                    .folded = static_cast<std::uint32_t>(folded.size()),
                    .kind = unitKind(letter.kind)};
    if (words.empty() || words.back().kind != unit.kind || !isExtended(unit.kind)) {
      words.push_back(unit);
      subwords.push_back(unit);
    } else if (unit.kind == UnitKind::blank) {
      continue;
    } else if (letter.kind == LetterKind::upper) {
      const bool endsCapitals =
          previous == LetterKind::upper && at < text.size() && searchLetterAt(text, at).kind == LetterKind::letter;
      if (previous != LetterKind::upper || endsCapitals) subwords.push_back(unit);
    }
    appendUtf8(folded, letter.folded);
    previous = letter.kind;
  }
  const Unit end{.begin = static_cast<std::uint32_t>(text.size()),
                 .folded = static_cast<std::uint32_t>(folded.size()),
                 .kind = UnitKind::blank};
  words.push_back(end);
  subwords.push_back(end);
}

void foldForComparing(std::string_view text, std::string& folded) {
  folded.clear();
  folded.reserve(text.size());
  bool isBehindBlank = false;
  for (std::size_t at = 0; at < text.size();) {
    at += foldAscii(text.substr(at), isBehindBlank, folded);
    if (at == text.size()) return;
    const SearchLetter letter = searchLetterAt(text, at);
    at += letter.size;
    if (letter.kind == LetterKind::mark && !folded.empty()) continue;
    const bool isBlank = letter.kind == LetterKind::blank;
    if (!isBlank) {
      appendUtf8(folded, letter.folded);
    } else if (!isBehindBlank) {
      folded += ' ';
    }
    isBehindBlank = isBlank;
  }
}

std::string_view pieceAt(std::string_view text, std::size_t begin, std::size_t largest) {
  const std::size_t end = begin + std::min(largest, text.size() - begin);
  return text.substr(begin, characterBegin(text, end) - begin);
}

std::size_t nextPieceBegin(std::string_view text, std::size_t end, std::size_t overlap) {
  return end == text.size() ? end : characterBegin(text, end - overlap);
}

void appendIndexWords(std::string_view text, std::string& words) {
  constexpr std::size_t kLargestPiece = 64 * 1024;
  constexpr std::size_t kOverlap = 256;  // several of the longest words
  TextUnits units;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::string_view piece = pieceAt(text, begin, kLargestPiece);
    begin = nextPieceBegin(text, begin + piece.size(), kOverlap);
    units.read(piece);
    for (std::size_t i = 0; i + 1 < units.words.size(); ++i) {
      const UnitKind kind = units.words[i].kind;
      if (kind == UnitKind::word || kind == UnitKind::ideograph) appendWord(units.text(units.words, i), words);
      if (kind == UnitKind::ideograph && units.words[i + 1].kind == UnitKind::ideograph) {
        words.append(units.text(units.words, i)).append(units.text(units.words, i + 1)) += ' ';
      }
    }
    if (units.words.size() == units.subwords.size()) continue;
    std::size_t word = 0;
    for (std::size_t i = 0; i + 1 < units.subwords.size(); ++i) {
      if (units.words[word + 1].begin <= units.subwords[i].begin) ++word;
      const bool isWhole = units.words[word].begin == units.subwords[i].begin &&
                           units.words[word + 1].begin == units.subwords[i + 1].begin;
      if (!isWhole) appendWord(units.text(units.subwords, i), words);
    }
  }
}

std::string_view indexForm(std::string_view word) { return utf8Prefix(word, kLongestWord); }

}  // namespace ravant
