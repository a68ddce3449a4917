#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/text/letter.hpp"

namespace ravant {

struct SearchLetter {
  char32_t folded;   ///< without case and accent
  std::size_t size;  ///< in bytes
  LetterKind kind;
};

/// Of a character of ASCII by itself.
const SearchLetter& asciiLetter(char character);

/// The character that begins at `at`. What is ill-formed is a symbol; a terminal's escape sequence is a mark.
SearchLetter searchLetterAt(std::string_view text, std::size_t at);

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
