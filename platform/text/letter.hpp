#pragma once

namespace ravant {

/// What a character is where texts are parted into words. Digits are letters; so are vowel signs. Ideographs are the
/// characters of scripts that put no blanks between words. Marks belong to the character before them, as accents and
/// what is not seen do.
enum class LetterKind { blank, symbol, upper, letter, ideograph, mark };

struct Letter {
  /// Of letters: without case and accent, and of the usual width. One character stays one. Of blanks: a blank.
  char32_t base;
  LetterKind kind;
};

/// What Unicode says of a character. One that it does not know is a symbol.
Letter letterOf(char32_t character);

}  // namespace ravant
