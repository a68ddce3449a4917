#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ravant {

/// Well-formed as the Unicode standard has it: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view text);

/// `text` with each maximal ill-formed part replaced by U+FFFD; handed through untouched when it is valid.
std::string repairUtf8(std::string text);

/// The longest start of valid `text` that has at most `maxBytes` bytes and cuts no character.
std::string_view utf8Prefix(std::string_view text, std::size_t maxBytes);

/// The first `count` characters (code points) of valid `text`.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// A code point, and how many bytes it takes.
struct Utf8Character {
  char32_t code;
  std::size_t size;
};

/// The character that begins at `at`, which is in `text`; U+FFFD with the size of an ill-formed part.
Utf8Character characterAt(std::string_view text, std::size_t at);

void appendUtf8(std::string& text, char32_t character);

}  // namespace ravant
