#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "agent/ravant_provider.hpp"
#include "platform/async/actor.hpp"
#include "platform/keystore/key_store.hpp"

namespace ravant {

/// A key that cannot be used; `what()` says why, without the key.
class ProviderKeyError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Where a provider's key comes from.
enum class KeySource { keyStore, environment };

/// The keys of the providers: a stored one goes before the environment's. Reading one may wait for the user to unlock
/// the key store.
///
/// An account is a provider's identifier.
class RavantProviderKey final : public Actor {
 public:
  /// `work` is a pool for what blocks. `variable` reads the environment.
  RavantProviderKey(any_io_executor work, std::shared_ptr<KeyStore> keyStore,
                    std::function<std::optional<std::string>(const char*)> variable = environmentVariable);

  /// Without the white space around it; nothing where no key is configured. A key store that is not there counts as
  /// empty, as does one that fails, or whose key cannot be sent, where the environment has a key; otherwise its
  /// `KeyStoreError` or a `ProviderKeyError` is thrown. A key store that is still asked when `stop` is requested fails
  /// at once.
  awaitable<std::optional<std::string>> ravantProviderAPIKey(std::string account, std::stop_token stop = {});
  /// Where the key comes from; as `ravantProviderAPIKey`.
  awaitable<std::optional<KeySource>> source(std::string account);
  /// Why the key store cannot be asked, also where there is none; nothing where it can.
  awaitable<std::optional<KeyStoreError>> keyStoreFault();

  /// Stores the key, without the white space around it. Throws `KeyStoreError`, and `ProviderKeyError` for what cannot
  /// be sent as a key.
  awaitable<void> setRavantProviderAPIKey(std::string key, std::string account);
  /// False where none was stored. Throws `KeyStoreError`.
  awaitable<bool> removeRavantProviderAPIKey(std::string account);

  static std::optional<std::string> environmentVariable(const char* name);

 private:
  struct Found {
    std::string key;
    KeySource source;
  };
  std::optional<Found> find(const std::string& account, const std::stop_token& stop);
  std::optional<std::string> fromStore(const std::string& account, const std::stop_token& stop);
  std::optional<std::string> fromEnvironment(const std::string& account) const;

  std::shared_ptr<KeyStore> keyStore_;
  std::function<std::optional<std::string>(const char*)> variable_;
};

}  // namespace ravant
