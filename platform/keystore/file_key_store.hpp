#pragma once

#include <filesystem>
#include <functional>

#include "platform/json/json.hpp"
#include "platform/keystore/key_store.hpp"

namespace ravant {

/// Secrets in one JSON file, not encrypted, that only its owner may read (0600). One that others may read is refused.
class FileKeyStore final : public KeyStore {
 public:
  explicit FileKeyStore(std::filesystem::path file) : file_(std::move(file)) {}

  using KeyStore::read;
  std::optional<std::string> read(const KeyName& name, std::stop_token stop) override;
  void store(const KeyName& name, const std::string& secret, const std::string& label) override;
  bool remove(const KeyName& name) override;

 private:
  json::object load() const;
  /// Writes the file where `change` says that it changed something, and returns what it says.
  bool rewrite(const std::function<bool(json::object& secrets)>& change);

  const std::filesystem::path file_;
};

}  // namespace ravant
