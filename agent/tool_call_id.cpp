#include "agent/tool_call_id.hpp"

#include <algorithm>
#include <cstdint>
#include <random>

namespace ravant {
namespace {

constexpr std::size_t kLength = 9;
constexpr std::string_view kCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

/// FNV-1a.
std::uint64_t hashOf(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return hash;
}

}  // namespace

std::string generatedToolCallId() {
  std::random_device random;
  std::uniform_int_distribution<std::size_t> character(0, kCharacters.size() - 1);
  std::string id(kLength, '\0');
  std::ranges::generate(id, [&] { return kCharacters[character(random)]; });
  return id;
}

std::string nineCharacterId(std::string_view id) {
  const bool fits = id.size() == kLength && id.find_first_not_of(kCharacters) == std::string_view::npos;
  if (fits) return std::string(id);
  std::string hashed(kLength, '\0');
  std::uint64_t rest = hashOf(id);
  for (char& c : hashed) {
    c = kCharacters[rest % kCharacters.size()];
    rest /= kCharacters.size();
  }
  return hashed;
}

}  // namespace ravant
