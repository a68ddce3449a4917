#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/keystore/key_store.hpp"

namespace ravant {

/// Why a secret cannot be sent to a service, as words behind its name ("is too long"); nothing where it can.
std::optional<std::string_view> faultOfSecret(std::string_view secret);

/// Whether the secret stands in the text, whatever the case of its letters: some servers repeat what they refuse.
bool hasSecret(std::string_view text, std::string_view secret);

/// What begins in the first 16 KiB of `text`, with `mark` wherever the secret stands, whatever the case of its letters.
std::string withoutSecret(std::string_view text, std::string_view secret, std::string_view mark);

/// What a secret was for is removed, and the key store has not removed the secret. `what()` names the entry, and what
/// the user can do.
class LeftSecretError : public std::runtime_error {
 public:
  /// `removal`: what is removed and what is left, without a full stop.
  LeftSecretError(std::string_view removal, const KeyName& entry, const KeyStoreError& reason);
};

}  // namespace ravant
