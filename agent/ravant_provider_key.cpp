#include "agent/ravant_provider_key.hpp"

#include <fmt/format.h>

#include <cstdlib>

#include "platform/keystore/secret.hpp"
#include "platform/log/log.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.agent", "RavantProviderKey");
constexpr const char* kService = "com.ravant.agent.providers";

KeyName nameOf(const std::string& account) { return {.service = kService, .account = account}; }

std::string checkedKey(std::string_view text) {
  const std::string_view key = trimmed(text);
  const auto fault = key.empty() ? std::nullopt : faultOfSecret(key);
  if (fault) throw ProviderKeyError(fmt::format("the key {}", *fault));
  return std::string(key);
}

std::string usableKey(std::string_view text) {
  std::string key = checkedKey(text);
  if (key.empty()) throw ProviderKeyError("the key is empty");
  return key;
}

std::string_view shownName(const std::string& account) {
  const auto provider = ravantProviderFromRawValue(account);
  return provider ? displayName(*provider) : account;
}

}  // namespace

RavantProviderKey::RavantProviderKey(any_io_executor work, std::shared_ptr<KeyStore> keyStore,
                                     std::function<std::optional<std::string>(const char*)> variable)
    : Actor(std::move(work)), keyStore_(std::move(keyStore)), variable_(std::move(variable)) {}

awaitable<std::optional<std::string>> RavantProviderKey::ravantProviderAPIKey(std::string account,
                                                                              std::stop_token stop) {
  return onActor(
      [this, account = std::move(account), stop = std::move(stop)]() -> awaitable<std::optional<std::string>> {
        auto found = find(account, stop);
        co_return found ? std::optional(std::move(found->key)) : std::nullopt;
      });
}

awaitable<std::optional<KeySource>> RavantProviderKey::source(std::string account) {
  return onActor([this, account = std::move(account)]() -> awaitable<std::optional<KeySource>> {
    const auto found = find(account, {});
    co_return found ? std::optional(found->source) : std::nullopt;
  });
}

awaitable<std::optional<KeyStoreError>> RavantProviderKey::keyStoreFault() {
  return onActor([this]() -> awaitable<std::optional<KeyStoreError>> {
    try {
      keyStore_->read({.service = "com.ravant.doctor", .account = "doctor"});
      co_return std::nullopt;
    } catch (const KeyStoreError& error) {
      co_return error;
    }
  });
}

awaitable<void> RavantProviderKey::setRavantProviderAPIKey(std::string key, std::string account) {
  return onActor([this, key = std::move(key), account = std::move(account)]() -> awaitable<void> {
    keyStore_->store(nameOf(account), usableKey(key), fmt::format("Ravant: key of {}", shownName(account)));
    co_return;
  });
}

awaitable<bool> RavantProviderKey::removeRavantProviderAPIKey(std::string account) {
  return onActor(
      [this, account = std::move(account)]() -> awaitable<bool> { co_return keyStore_->remove(nameOf(account)); });
}

std::optional<std::string> RavantProviderKey::environmentVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<RavantProviderKey::Found> RavantProviderKey::find(const std::string& account,
                                                                const std::stop_token& stop) {
  std::exception_ptr fault;
  try {
    if (auto key = fromStore(account, stop)) return Found{.key = *std::move(key), .source = KeySource::keyStore};
  } catch (const ProviderKeyError& error) {
    kLog.warning("{}", error.what());
    fault = std::current_exception();
  } catch (const KeyStoreError& error) {
    kLog.warning("the key store could not be read: {}", error.what());
    if (error.kind() != KeyStoreError::Case::unavailable) fault = std::current_exception();
  }
  auto fallback = fromEnvironment(account);
  if (!fallback && fault) std::rethrow_exception(fault);
  if (!fallback) return std::nullopt;
  return Found{.key = *std::move(fallback), .source = KeySource::environment};
}

std::optional<std::string> RavantProviderKey::fromStore(const std::string& account, const std::stop_token& stop) {
  const auto stored = keyStore_->read(nameOf(account), stop);
  if (!stored) return std::nullopt;
  try {
    return usableKey(*stored);
  } catch (const ProviderKeyError& error) {
    throw ProviderKeyError(fmt::format("the stored key of {}: {}", shownName(account), error.what()));
  }
}

std::optional<std::string> RavantProviderKey::fromEnvironment(const std::string& account) const {
  const auto provider = ravantProviderFromRawValue(account);
  const auto value = provider ? variable_(keyVariable(*provider)) : std::nullopt;
  if (!value) return std::nullopt;
  try {
    std::string key = checkedKey(*value);
    return key.empty() ? std::nullopt : std::optional(std::move(key));
  } catch (const ProviderKeyError& error) {
    throw ProviderKeyError(fmt::format("the environment variable {}: {}", keyVariable(*provider), error.what()));
  }
}

}  // namespace ravant
