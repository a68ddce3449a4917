#include "integrations/linear/linear_keys.hpp"

#include <fmt/format.h>

#include <exception>

#include "integrations/linear/linear_client_error.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr const char* kService = "com.ravant.integrations.linear";

}  // namespace

KeyName LinearKeys::entry(std::string_view workspace, std::string_view userEmail) {
  return {.service = kService, .account = fmt::format("{}@{}", userEmail, workspace)};
}

LinearKeys::LinearKeys(any_io_executor work, std::shared_ptr<KeyStore> keyStore)
    : Actor(std::move(work)), keyStore_(std::move(keyStore)) {}

awaitable<std::string> LinearKeys::linearAPIKey(std::string workspace, std::string userEmail, std::stop_token stop) {
  return onActor([this, name = entry(workspace, userEmail), stop = std::move(stop)]() -> awaitable<std::string> {
    const auto stored = keyStore_->read(name, stop);
    if (!stored) throw LinearClientError::missingKey();
    co_return checkedLinearAPIKey(*stored);
  });
}

awaitable<void> LinearKeys::setLinearAPIKey(std::string key, std::string workspace, std::string userEmail) {
  return onActor([this, key = std::move(key), name = entry(workspace, userEmail)]() -> awaitable<void> {
    const std::string usable = checkedLinearAPIKey(key);
    try {
      keyStore_->store(name, usable, "Ravant: Linear key of " + name.account);
    } catch (const KeyStoreError& error) {
      std::throw_with_nested(
          LinearKeyError(fmt::format("Couldn't store the API key in the keychain: {}", error.what())));
    }
    co_return;
  });
}

awaitable<bool> LinearKeys::removeLinearAPIKey(std::string workspace, std::string userEmail) {
  return onActor(
      [this, name = entry(workspace, userEmail)]() -> awaitable<bool> { co_return keyStore_->remove(name); });
}

std::string checkedLinearAPIKey(std::string_view text) {
  const std::string_view key = trimmed(text);
  if (const auto fault = faultOfSecret(key)) throw LinearKeyError(fmt::format("the API key {}", *fault));
  return std::string(key);
}

}  // namespace ravant
