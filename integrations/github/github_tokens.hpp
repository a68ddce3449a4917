#pragma once

#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <string_view>

#include "platform/async/actor.hpp"
#include "platform/keystore/secret.hpp"

namespace ravant {

/// A token that cannot be used; `what()` says why, without the token.
class GithubTokenError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The tokens of the accounts, in the key store under "com.ravant.integrations.github". The letters of a host and a
/// username may differ in case.
class GithubTokens final : public Actor {
 public:
  /// `work` is a pool for what blocks.
  GithubTokens(any_io_executor work, std::shared_ptr<KeyStore> keyStore);

  /// Throws `GithubClientError` `missingToken`, `KeyStoreError`, and `GithubTokenError` for a stored one that cannot be
  /// sent. A key store that is still asked when `stop` is requested fails at once.
  awaitable<std::string> githubToken(std::string host, std::string username, std::stop_token stop = {});
  /// Checked as `checkedGithubToken` does. Throws also `GithubTokenError` "Couldn't store the access token in the
  /// keychain: " with the key store's words and its error nested.
  awaitable<void> setGithubToken(std::string token, std::string host, std::string username);
  /// Where it stands in the key store.
  static KeyName entry(std::string_view host, std::string_view username);
  /// False where there was none. Throws `KeyStoreError`.
  awaitable<bool> removeGithubToken(std::string host, std::string username);

 private:
  std::shared_ptr<KeyStore> keyStore_;
};

/// Without the white space at its ends. Throws `GithubTokenError` where nothing is left, or what cannot be sent.
std::string checkedGithubToken(std::string_view text);

}  // namespace ravant
