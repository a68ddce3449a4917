#include "platform/text/case_folding.hpp"

#include <clocale>
#include <cwctype>

#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

/// Knows the letters of Unicode whatever the user's locale is; null where the system has none.
locale_t unicodeLocale() {
  static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

char32_t decoded(std::string_view character) {
  const auto bits = [&](std::size_t i, unsigned mask) -> char32_t {
    return static_cast<unsigned char>(character[i]) & mask;
  };
  if (character.size() == 2) return bits(0, 0x1F) << 6 | bits(1, 0x3F);
  if (character.size() == 3) return bits(0, 0x0F) << 12 | bits(1, 0x3F) << 6 | bits(2, 0x3F);
  return bits(0, 0x07) << 18 | bits(1, 0x3F) << 12 | bits(2, 0x3F) << 6 | bits(3, 0x3F);
}

void append(std::string& text, char32_t character) {
  const auto tail = [&](unsigned shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += {static_cast<char>(0xC0 | character >> 6), tail(0)};
  } else if (character < 0x10000) {
    text += {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
  } else {
    text += {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
  }
}

}  // namespace

std::string foldCase(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  while (!text.empty()) {
    const char first = text.front();
    const std::string_view character = firstCharacters(text, 1);
    text.remove_prefix(character.size());
    if (character.size() == 1) {
      folded += first >= 'A' && first <= 'Z' ? static_cast<char>(first - 'A' + 'a') : first;
    } else {
      append(folded, foldCase(decoded(character)));
    }
  }
  return folded;
}

char32_t foldCase(char32_t character) {
  const locale_t locale = unicodeLocale();
  if (!locale) return character;
  return static_cast<char32_t>(::towlower_l(::towupper_l(static_cast<wint_t>(character), locale), locale));
}

}  // namespace ravant
