#pragma once

#include <string>
#include <string_view>

namespace ravant {

/// Valid `text` with each character in the form that it shares with its other cases (`Σ`, `σ` and `ς` become `σ`), so
/// that texts which differ in case only are equal. One character stays one character.
std::string foldCase(std::string_view text);

/// The same of one character.
char32_t foldCase(char32_t character);

}  // namespace ravant
