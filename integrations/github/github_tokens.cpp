#include "integrations/github/github_tokens.hpp"

#include <fmt/format.h>

#include <exception>
#include <utility>

#include "integrations/github/github_client_error.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr const char* kService = "com.ravant.integrations.github";

}  // namespace

KeyName GithubTokens::entry(std::string_view host, std::string_view username) {
  return {.service = kService, .account = lowerCase(fmt::format("{}@{}", username, host))};
}

GithubTokens::GithubTokens(any_io_executor work, std::shared_ptr<KeyStore> keyStore)
    : Actor(std::move(work)), keyStore_(std::move(keyStore)) {}

awaitable<std::string> GithubTokens::githubToken(std::string host, std::string username, std::stop_token stop) {
  return onActor([this, name = entry(host, username), stop = std::move(stop)]() -> awaitable<std::string> {
    const auto stored = keyStore_->read(name, stop);
    if (!stored) throw GithubClientError::missingToken();
    try {
      co_return checkedGithubToken(*stored);
    } catch (const GithubTokenError& error) {
      throw GithubTokenError(fmt::format("The stored token of {}: {}", name.account, error.what()));
    }
  });
}

awaitable<void> GithubTokens::setGithubToken(std::string token, std::string host, std::string username) {
  return onActor([this, token = std::move(token), name = entry(host, username)]() -> awaitable<void> {
    const std::string checked = checkedGithubToken(token);
    try {
      keyStore_->store(name, checked, fmt::format("Ravant: GitHub token of {}", name.account));
    } catch (const KeyStoreError& error) {
      std::throw_with_nested(
          GithubTokenError(fmt::format("Couldn't store the access token in the keychain: {}", error.what())));
    }
    co_return;
  });
}

awaitable<bool> GithubTokens::removeGithubToken(std::string host, std::string username) {
  return onActor([this, name = entry(host, username)]() -> awaitable<bool> { co_return keyStore_->remove(name); });
}

std::string checkedGithubToken(std::string_view text) {
  const std::string_view token = trimmed(text);
  if (const auto fault = faultOfSecret(token)) throw GithubTokenError(fmt::format("The token {}.", *fault));
  return std::string(token);
}

}  // namespace ravant
