#include "platform/text/uuid.hpp"

#include <sys/random.h>

#include <cerrno>
#include <system_error>

namespace ravant {
namespace {

constexpr std::size_t kTextSize = 36;

constexpr bool isHyphenBefore(std::size_t byte) { return byte == 4 || byte == 6 || byte == 8 || byte == 10; }

std::optional<unsigned> digit(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return std::nullopt;
}

std::string written(std::span<const std::byte, Uuid::kSize> bytes, std::string_view digits) {
  std::string text;
  text.reserve(kTextSize);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (isHyphenBefore(i)) text += '-';
    text += digits[std::to_integer<std::size_t>(bytes[i] >> 4)];
    text += digits[std::to_integer<std::size_t>(bytes[i] & std::byte{0x0F})];
  }
  return text;
}

}  // namespace

Uuid Uuid::random() {
  Uuid uuid;
  while (::getrandom(uuid.bytes_.data(), kSize, 0) != static_cast<ssize_t>(kSize)) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
  }
  uuid.bytes_[6] = (uuid.bytes_[6] & std::byte{0x0F}) | std::byte{0x40};
  uuid.bytes_[8] = (uuid.bytes_[8] & std::byte{0x3F}) | std::byte{0x80};
  return uuid;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
  if (text.size() != kTextSize) return std::nullopt;
  Uuid uuid;
  std::size_t at = 0;
  for (std::size_t i = 0; i < kSize; ++i) {
    if (isHyphenBefore(i) && text[at++] != '-') return std::nullopt;
    const auto high = digit(text[at++]);
    const auto low = digit(text[at++]);
    if (!high || !low) return std::nullopt;
    uuid.bytes_[i] = static_cast<std::byte>(*high << 4 | *low);
  }
  return uuid;
}

std::string Uuid::text() const { return written(bytes_, "0123456789abcdef"); }

std::string Uuid::upperText() const { return written(bytes_, "0123456789ABCDEF"); }

}  // namespace ravant
