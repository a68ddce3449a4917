#include "platform/keystore/secret.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace ravant {
namespace {

char small(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The size of the text where the secret is not in it.
std::size_t placeOf(std::string_view secret, std::string_view text) {
  if (secret.empty()) return text.size();
  return static_cast<std::size_t>(std::ranges::search(text, secret, {}, small, small).begin() - text.begin());
}

}  // namespace

std::optional<std::string_view> faultOfSecret(std::string_view secret) {
  constexpr std::size_t kLongest = 8 * 1024;  // what servers take of a field
  if (secret.empty()) return "is empty";
  if (secret.size() > kLongest) return "is too long";
  const bool canBeSent = std::ranges::all_of(secret, [](char c) { return c > ' ' && c < '\x7f'; });
  if (!canBeSent) return "has spaces, line breaks or other characters that none has";
  return std::nullopt;
}

bool hasSecret(std::string_view text, std::string_view secret) { return placeOf(secret, text) != text.size(); }

std::string withoutSecret(std::string_view text, std::string_view secret, std::string_view mark) {
  constexpr std::size_t kMostShown = 16 * 1024;  // bytes
  std::string rest;
  for (std::size_t begin = 0; begin < kMostShown;) {
    const std::string_view unread = text.substr(begin, kMostShown - begin + secret.size());
    const std::size_t at = placeOf(secret, unread);
    const bool isLast = at >= unread.size() || begin + at >= kMostShown;
    rest += unread.substr(0, std::min(at, kMostShown - begin));
    if (isLast) break;
    rest += mark;
    begin += at + secret.size();
  }
  return rest;
}

LeftSecretError::LeftSecretError(std::string_view removal, const KeyName& entry, const KeyStoreError& reason)
    : std::runtime_error(
          fmt::format("{}: {}; add it again and remove it, or delete the entry {} of {} in your key store", removal,
                      reason.what(), entry.service, entry.account)) {}

}  // namespace ravant
