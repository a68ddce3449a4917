#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ravant {

/// What a character is to a search. Ideographs are those of scripts that put no blanks between words; marks belong to
/// the character before them, as accents and a terminal's escape sequences do.
enum class LetterKind { blank, symbol, upper, letter, ideograph, mark };

struct SearchLetter {
  char32_t folded;   ///< without case and accent
  std::size_t size;  ///< in bytes
  LetterKind kind;
};

/// The character that begins at `at`; a byte that begins none is a symbol.
SearchLetter searchLetterAt(std::string_view text, std::size_t at);

void appendUtf8(std::string& text, char32_t character);

/// The texts that differ in case and accents only become equal: `É` is `e`, composed or not.
std::string foldedForSearch(std::string_view text);

/// Bytes of a text.
struct TextSpan {
  std::size_t begin;
  std::size_t end;

  bool operator==(const TextSpan&) const = default;
};

/// Where the folded text stands for the first time. `folded` is not empty.
std::optional<TextSpan> findFolded(std::string_view text, std::string_view folded);

}  // namespace ravant
