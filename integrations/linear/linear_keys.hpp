#pragma once

#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>

#include "platform/async/actor.hpp"
#include "platform/keystore/secret.hpp"

namespace ravant {

/// A key that cannot be used or stored; `what()` says why, without the key.
class LinearKeyError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The API keys of the workspaces, in the key store under "com.ravant.integrations.linear" and `EMAIL@WORKSPACE`.
class LinearKeys final : public Actor {
 public:
  /// `work` is a pool for what blocks.
  LinearKeys(any_io_executor work, std::shared_ptr<KeyStore> keyStore);

  /// Throws `LinearClientError` `missingKey`, `KeyStoreError`, and `LinearKeyError` for what cannot be sent as a key.
  /// A key store that is still asked when `stop` is requested fails at once.
  awaitable<std::string> linearAPIKey(std::string workspace, std::string userEmail, std::stop_token stop = {});
  /// Throws `LinearKeyError`, where it cannot be stored with the key store's words and its error nested.
  awaitable<void> setLinearAPIKey(std::string key, std::string workspace, std::string userEmail);
  /// Where it stands in the key store.
  static KeyName entry(std::string_view workspace, std::string_view userEmail);
  /// False where there was none. Throws `KeyStoreError`.
  awaitable<bool> removeLinearAPIKey(std::string workspace, std::string userEmail);

 private:
  std::shared_ptr<KeyStore> keyStore_;
};

/// Without the white space at its ends. Throws `LinearKeyError` where nothing is left, or what cannot be sent.
std::string checkedLinearAPIKey(std::string_view text);

}  // namespace ravant
