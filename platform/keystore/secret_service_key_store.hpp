#pragma once

#include <chrono>

#include "platform/keystore/key_store.hpp"

namespace ravant {

/// The key store of the desktop: its default collection, over the Secret Service API
/// (specifications.freedesktop.org/secret-service, version 0.2).
class SecretServiceKeyStore final : public KeyStore {
 public:
  /// `limit` is how long the service, and the user whom it asks, may take.
  explicit SecretServiceKeyStore(std::chrono::milliseconds limit = std::chrono::minutes(2)) : limit_(limit) {}

  using KeyStore::read;
  std::optional<std::string> read(const KeyName& name, std::stop_token stop) override;
  void store(const KeyName& name, const std::string& secret, const std::string& label) override;
  bool remove(const KeyName& name) override;

 private:
  std::chrono::milliseconds limit_;
};

}  // namespace ravant
