#include "platform/text/text.hpp"

#include <fmt/format.h>

#include <iterator>
#include <utility>

#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

constexpr char32_t kControlPictures = 0x2400;
constexpr char32_t kDeletePicture = 0x2421;
constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

void appendThreeBytes(std::string& text, char32_t character) {
  text += static_cast<char>(0xE0 | character >> 12);
  text += static_cast<char>(0x80 | (character >> 6 & 0x3F));
  text += static_cast<char>(0x80 | (character & 0x3F));
}

bool isHarmful(char32_t character) {
  return (character >= 0x80 && character <= 0x9F) || (character >= 0x202A && character <= 0x202E) ||
         (character >= 0x2066 && character <= 0x2069) || character == 0x2028 || character == 0x2029;
}

/// Marks of direction, which texts of right-to-left scripts have for good reasons.
bool isDirectionMark(char32_t character) { return character == 0x061C || character == 0x200E || character == 0x200F; }

/// Of the valid two or three bytes long characters; others are never harmful.
char32_t decoded(std::string_view character) {
  const auto bits = [&](std::size_t i, unsigned mask) { return static_cast<unsigned char>(character[i]) & mask; };
  if (character.size() == 2) return bits(0, 0x1F) << 6 | bits(1, 0x3F);
  if (character.size() == 3) return bits(0, 0x0F) << 12 | bits(1, 0x3F) << 6 | bits(2, 0x3F);
  return 0;
}

std::size_t characterSize(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::optional<std::string> titleFrom(std::string_view words) {
  const std::string_view title = trimmed(words);
  return title.empty() ? std::nullopt : std::optional<std::string>(title);
}

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

std::string base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (; !bytes.empty(); bytes.remove_prefix(std::min<std::size_t>(3, bytes.size()))) {
    const auto byteAt = [&](std::size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0u; };
    const unsigned group = byteAt(0) << 16 | byteAt(1) << 8 | byteAt(2);
    text += kBase64[group >> 18];
    text += kBase64[group >> 12 & 0x3F];
    text += bytes.size() > 1 ? kBase64[group >> 6 & 0x3F] : '=';
    text += bytes.size() > 2 ? kBase64[group & 0x3F] : '=';
  }
  return text;
}

std::optional<std::string> bytesOfBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  unsigned bits = 0;
  unsigned count = 0;
  for (const char digit : text.substr(0, text.find('='))) {
    const std::size_t value = kBase64.find(digit);
    if (value == std::string_view::npos) return std::nullopt;
    bits = bits << 6 | static_cast<unsigned>(value);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  // Another spelling of the same bytes, or digits behind the padding.
  if (base64(bytes) != text) return std::nullopt;
  return bytes;
}

std::string terminalSafe(std::string_view text) {
  const std::string valid = repairUtf8(std::string(text));
  std::string safe;
  safe.reserve(valid.size());
  for (std::string_view rest = valid; !rest.empty();) {
    const std::string_view character = rest.substr(0, characterSize(rest.front()));
    rest.remove_prefix(character.size());
    const auto byte = static_cast<unsigned char>(character.front());
    if (byte == '\r' && rest.starts_with('\n')) continue;
    if (byte == 0x7F) {
      appendThreeBytes(safe, kDeletePicture);
    } else if (byte < 0x20 && byte != '\n' && byte != '\t') {
      appendThreeBytes(safe, kControlPictures + byte);
    } else if (const char32_t code = decoded(character); isHarmful(code)) {
      fmt::format_to(std::back_inserter(safe), "\\u{{{:04X}}}", static_cast<unsigned>(code));
    } else {
      safe += character;
    }
  }
  return safe;
}

std::string oneLine(std::string_view text) {
  std::string line;
  bool isGap = false;
  for (const char byte : terminalSafe(trimmed(text))) {
    if (byte == '\n' || byte == '\t' || byte == ' ') {
      isGap = true;
      continue;
    }
    if (std::exchange(isGap, false)) line += ' ';
    line += byte;
  }
  return line;
}

std::string terminalSafeJson(std::string_view json) {
  // The delete character, and how every other one begins.
  constexpr std::string_view kMayBegin = "\x7f\xc2\xd8\xe2";
  std::string safe;
  safe.reserve(json.size());
  while (!json.empty()) {
    const std::size_t plain = std::min(json.find_first_of(kMayBegin), json.size());
    safe += json.substr(0, plain);
    json.remove_prefix(plain);
    if (json.empty()) break;
    const std::string_view character = json.substr(0, characterSize(json.front()));
    json.remove_prefix(character.size());
    const char32_t code = character.size() == 1 ? static_cast<unsigned char>(character.front()) : decoded(character);
    if (code == 0x7F || isHarmful(code) || isDirectionMark(code)) {
      fmt::format_to(std::back_inserter(safe), "\\u{:04x}", static_cast<unsigned>(code));
    } else {
      safe += character;
    }
  }
  return safe;
}

}  // namespace ravant
