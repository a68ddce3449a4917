#include "core/store/search/searched_text.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>

#include "platform/json/json.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

bool isEscapedJson(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos || !text.contains('\\')) return false;
  const char last = text[text.find_last_not_of(kBlanks)];
  const bool isEnclosed = (text[first] == '{' && last == '}') || (text[first] == '[' && last == ']');
  return isEnclosed && !findJsonFault(text);
}

char32_t hexAt(std::string_view text, std::size_t at) {
  std::uint16_t code = 0;
  const std::string_view digits = text.substr(at, 4);
  std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
  return code;
}

/// The character whose escape sequence begins at `at`, and how long that is.
std::pair<char32_t, std::size_t> unescapedAt(std::string_view text, std::size_t at) {
  constexpr std::string_view kNames = "bfnrt";
  constexpr std::string_view kNamed = "\b\f\n\r\t";
  const char name = text[at + 1];
  if (const std::size_t known = kNames.find(name); known != std::string_view::npos) return {kNamed[known], 2};
  if (name != 'u') return {static_cast<unsigned char>(name), 2};
  const char32_t code = hexAt(text, at + 2);
  if (code < 0xD800 || code > 0xDFFF) return {code, 6};
  const char32_t low = text.substr(at + 6).starts_with("\\u") ? hexAt(text, at + 8) : 0;
  if (code > 0xDBFF || low < 0xDC00 || low > 0xDFFF) return {0xFFFD, 6};
  return {0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00), 12};
}

}  // namespace

std::string_view searchedText(std::string_view stored, std::string& room) {
  if (!isEscapedJson(stored)) return stored;
  room.clear();
  room.reserve(stored.size());
  for (std::size_t at = 0; at < stored.size();) {
    const std::size_t escape = std::min(stored.find('\\', at), stored.size());
    room += stored.substr(at, escape - at);
    if (escape == stored.size()) break;
    const auto [character, size] = unescapedAt(stored, escape);
    appendUtf8(room, character);
    at = escape + size;
  }
  return room;
}

}  // namespace ravant
