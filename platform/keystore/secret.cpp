#include "platform/keystore/secret.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace ravant {

std::optional<std::string_view> faultOfSecret(std::string_view secret) {
  constexpr std::size_t kLongest = 8 * 1024;  // what servers take of a field
  if (secret.empty()) return "is empty";
  if (secret.size() > kLongest) return "is too long";
  const bool canBeSent = std::ranges::all_of(secret, [](char c) { return c > ' ' && c < '\x7f'; });
  if (!canBeSent) return "has spaces, line breaks or other characters that none has";
  return std::nullopt;
}

LeftSecretError::LeftSecretError(std::string_view removal, const KeyName& entry, const KeyStoreError& reason)
    : std::runtime_error(
          fmt::format("{}: {}; add it again and remove it, or delete the entry {} of {} in your key store", removal,
                      reason.what(), entry.service, entry.account)) {}

}  // namespace ravant
