#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ravant {

/// A universally unique identifier. The default one is the nil identifier.
class Uuid {
 public:
  static constexpr std::size_t kSize = 16;

  constexpr Uuid() = default;
  constexpr explicit Uuid(std::span<const std::byte, kSize> bytes) {
    for (std::size_t i = 0; i < kSize; ++i) bytes_[i] = bytes[i];
  }

  /// Version 4, from the kernel's random numbers.
  static Uuid random();
  /// 8-4-4-4-12 hexadecimal digits in either case, and nothing around them.
  static std::optional<Uuid> parse(std::string_view text);

  /// Lower case with hyphens.
  std::string text() const;
  std::string upperText() const;
  constexpr std::span<const std::byte, kSize> bytes() const { return bytes_; }

  friend constexpr auto operator<=>(const Uuid&, const Uuid&) = default;

 private:
  std::array<std::byte, kSize> bytes_{};
};

}  // namespace ravant

template <>
struct std::hash<ravant::Uuid> {
  std::size_t operator()(const ravant::Uuid& uuid) const noexcept {
    std::array<std::size_t, 2> halves;
    std::memcpy(halves.data(), uuid.bytes().data(), sizeof halves);
    return halves[0] ^ halves[1];
  }
};
