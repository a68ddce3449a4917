#pragma once

#include <string>
#include <string_view>

namespace ravant {

/// One word that a POSIX shell or fish reads back as `text`, whatever it holds but NUL.
inline std::string shellQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted += '\'';
}

}  // namespace ravant
