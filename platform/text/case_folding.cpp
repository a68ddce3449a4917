#include "platform/text/case_folding.hpp"

#include <utf8proc.h>

#include "platform/text/utf8.hpp"

namespace ravant {

std::string foldCase(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const char first = text[at];
    if (static_cast<unsigned char>(first) < 0x80) {
      folded += first >= 'A' && first <= 'Z' ? static_cast<char>(first - 'A' + 'a') : first;
      ++at;
      continue;
    }
    const Utf8Character character = characterAt(text, at);
    appendUtf8(folded, foldCase(character.code));
    at += character.size;
  }
  return folded;
}

char32_t foldCase(char32_t character) {
  return static_cast<char32_t>(utf8proc_tolower(utf8proc_toupper(static_cast<utf8proc_int32_t>(character))));
}

}  // namespace ravant
