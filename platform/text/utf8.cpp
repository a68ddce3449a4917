#include "platform/text/utf8.hpp"

#include <cstdint>
#include <cstring>

namespace ravant {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Sequence {
  bool isValid;
  /// Of the character, or of the maximal ill-formed part.
  std::size_t size;
};

/// The lead byte limits the second byte; every later one is 80..BF.
struct Lead {
  std::size_t size;
  unsigned char secondLow;
  unsigned char secondHigh;
};

constexpr Lead leadOf(unsigned char byte) {
  if (byte < 0x80) return {1, 0, 0};
  if (byte < 0xC2) return {0, 0, 0};
  if (byte < 0xE0) return {2, 0x80, 0xBF};
  if (byte == 0xE0) return {3, 0xA0, 0xBF};
  if (byte == 0xED) return {3, 0x80, 0x9F};
  if (byte < 0xF0) return {3, 0x80, 0xBF};
  if (byte == 0xF0) return {4, 0x90, 0xBF};
  if (byte < 0xF4) return {4, 0x80, 0xBF};
  if (byte == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

Sequence sequenceAt(std::string_view text, std::size_t at) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const Lead lead = leadOf(byteAt(at));
  if (lead.size == 0) return {false, 1};
  for (std::size_t i = 1; i < lead.size; ++i) {
    const unsigned char low = i == 1 ? lead.secondLow : 0x80;
    const unsigned char high = i == 1 ? lead.secondHigh : 0xBF;
    if (at + i == text.size() || byteAt(at + i) < low || byteAt(at + i) > high) return {false, i};
  }
  return {true, lead.size};
}

std::size_t skipAscii(std::string_view text, std::size_t at) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::uint64_t word;
  for (; at + sizeof word <= text.size(); at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    if (word & kHighBits) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

std::size_t validSize(std::string_view text) {
  std::size_t at = skipAscii(text, 0);
  while (at < text.size()) {
    const Sequence sequence = sequenceAt(text, at);
    if (!sequence.isValid) break;
    at += sequence.size;
    if (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) at = skipAscii(text, at);
  }
  return at;
}

}  // namespace

bool isValidUtf8(std::string_view text) { return validSize(text) == text.size(); }

std::string repairUtf8(std::string text) {
  std::size_t valid = validSize(text);
  if (valid == text.size()) return text;
  std::string repaired;
  repaired.reserve(text.size() + kReplacement.size());
  for (std::string_view rest = text;; valid = validSize(rest)) {
    repaired += rest.substr(0, valid);
    if (valid == rest.size()) return repaired;
    repaired += kReplacement;
    rest.remove_prefix(valid + sequenceAt(rest, valid).size);
  }
}

std::string_view utf8Prefix(std::string_view text, std::size_t maxBytes) {
  if (text.size() <= maxBytes) return text;
  while (maxBytes > 0 && (static_cast<unsigned char>(text[maxBytes]) & 0xC0) == 0x80) --maxBytes;
  return text.substr(0, maxBytes);
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  std::size_t at = 0;
  for (; at < text.size(); ++at) {
    const bool isStart = (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80;
    if (isStart && count-- == 0) break;
  }
  return text.substr(0, at);
}

Utf8Character characterAt(std::string_view text, std::size_t at) {
  const Sequence sequence = sequenceAt(text, at);
  const auto lead = static_cast<unsigned char>(text[at]);
  if (!sequence.isValid) return {U'\uFFFD', sequence.size};
  if (sequence.size == 1) return {lead, 1};
  char32_t code = lead & (0xFFu >> (sequence.size + 1));
  for (std::size_t i = 1; i < sequence.size; ++i) code = code << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3F);
  return {code, sequence.size};
}

void appendUtf8(std::string& text, char32_t character) {
  if (character < 0x80) {
    text += static_cast<char>(character);
    return;
  }
  const int more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
  text += static_cast<char>((0xFF00u >> (more + 1) & 0xFF) | character >> 6 * more);
  for (int i = more - 1; i >= 0; --i) text += static_cast<char>(0x80 | (character >> 6 * i & 0x3F));
}

}  // namespace ravant
