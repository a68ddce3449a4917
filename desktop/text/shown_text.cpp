#include "desktop/text/shown_text.hpp"

#include <fmt/format.h>

#include <array>
#include <iterator>

#include "platform/text/utf8.hpp"

namespace ravant::desktop {
namespace {

constexpr char32_t kControlPictures = 0x2400;
constexpr char32_t kDeletePicture = 0x2421;

/// Bytes that are shown as they are, whatever stands around them.
constexpr auto kPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t byte = 0x20; byte < 0x80; ++byte) plain[byte] = true;
  for (const char byte : {'&', '<', '>', '"', '\x7F'}) plain[static_cast<unsigned char>(byte)] = false;
  plain['\n'] = plain['\t'] = true;
  return plain;
}();

bool steers(char32_t character) {
  const auto isWithin = [&](char32_t first, char32_t last) { return character >= first && character <= last; };
  return isWithin(0x80, 0x9F) || character == 0x061C || character == 0x200E || character == 0x200F ||
         isWithin(0x2028, 0x202E) || isWithin(0x2066, 0x2069) || isWithin(0xFDD0, 0xFDEF) || character == 0xFFFC ||
         (character & 0xFFFE) == 0xFFFE;
}

std::string_view entityOf(char byte) {
  switch (byte) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    default:
      return {};
  }
}

enum class Target { text, html };

void append(std::string& shown, std::string_view text, Target target) {
  for (std::size_t at = 0; at < text.size();) {
    std::size_t plain = at;
    while (plain < text.size() && kPlain[static_cast<unsigned char>(text[plain])]) ++plain;
    shown.append(text, at, plain - at);
    at = plain;
    if (at == text.size()) break;
    const auto [character, size] = characterAt(text, at);
    if (const std::string_view entity = size == 1 ? entityOf(text[at]) : std::string_view(); !entity.empty()) {
      shown += target == Target::html ? entity : text.substr(at, 1);
    } else if (character == 0x7F) {
      appendUtf8(shown, kDeletePicture);
    } else if (character < 0x20) {
      if (!text.substr(at).starts_with("\r\n")) appendUtf8(shown, kControlPictures + character);
    } else if (steers(character)) {
      fmt::format_to(std::back_inserter(shown), "\\u{{{:04X}}}", static_cast<unsigned>(character));
    } else {
      appendUtf8(shown, character);
    }
    at += size;
  }
}

}  // namespace

std::string shownText(std::string_view text) {
  std::string shown;
  shown.reserve(text.size());
  append(shown, text, Target::text);
  return shown;
}

void appendShownAsHtml(std::string& html, std::string_view text) { append(html, text, Target::html); }

}  // namespace ravant::desktop
