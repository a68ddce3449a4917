#pragma once

#include <string_view>

namespace ravant::desktop {

// What characters are to every language; those beyond ASCII are letters.

inline bool isBlank(char16_t c) { return c == u' ' || c == u'\t'; }
inline bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
inline bool isUpper(char16_t c) { return c >= u'A' && c <= u'Z'; }
inline bool isLower(char16_t c) { return c >= u'a' && c <= u'z'; }
inline bool isAlphanumeric(char16_t c) { return isDigit(c) || isUpper(c) || isLower(c) || c == u'_' || c >= 128; }
inline bool isAnyOf(std::string_view ascii, char16_t c) {
  return c != u'\0' && c < 128 && ascii.contains(static_cast<char>(c));
}

}  // namespace ravant::desktop
