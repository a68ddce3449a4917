#pragma once

#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

namespace ravant {

/// Which secret: such as the service of an integration and an account there.
struct KeyName {
  std::string service;
  std::string account;
};

/// A key store that does not do what it was asked for; `what()` has its own words, never a secret.
class KeyStoreError : public std::runtime_error {
 public:
  /// `unavailable`: nothing answers where the store should be. `locked`: nobody opened it.
  enum class Case { unavailable, locked, failed };

  KeyStoreError(Case kind, const std::string& words) : std::runtime_error(words), kind_(kind) {}
  Case kind() const noexcept { return kind_; }

 private:
  Case kind_;
};

/// Keeps secrets, texts in UTF-8. Its operations block, perhaps until the user has answered a question of the platform,
/// may be called from any thread, and throw `KeyStoreError`.
class KeyStore {
 public:
  virtual ~KeyStore() = default;

  /// Nothing where there is none. Fails soon after `stop` is requested, also while the platform does not answer.
  virtual std::optional<std::string> read(const KeyName& name, std::stop_token stop) = 0;
  std::optional<std::string> read(const KeyName& name) { return read(name, {}); }
  /// In place of one that is there. `label` is what the platform shows for it.
  virtual void store(const KeyName& name, const std::string& secret, const std::string& label) = 0;
  /// False where there was none.
  virtual bool remove(const KeyName& name) = 0;
};

}  // namespace ravant
