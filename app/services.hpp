#pragma once

#include <array>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "agent/ravant_provider.hpp"
#include "app/locations.hpp"
#include "platform/http/http_engine.hpp"
#include "platform/http/http_session.hpp"
#include "platform/keystore/key_store.hpp"
#include "platform/settings/settings_file.hpp"

namespace ravant {

/// A service in the network for whose host another address can stand in.
enum class RemoteService { openrouter, mistral, github, linear };

inline constexpr std::array kRemoteServices = {RemoteService::openrouter, RemoteService::mistral, RemoteService::github,
                                               RemoteService::linear};

/// The last word of its setting.
std::string_view rawValue(RemoteService service);
std::string_view displayName(RemoteService service);
std::string_view defaultBaseAddress(RemoteService service);
RemoteService serviceOf(RavantProvider provider);

/// An address that cannot stand in for a service's host; `what()` says why and where the address comes from.
class ServiceAddressError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What stands in for the service's host: the environment's `RAVANT_OPENROUTER_URL`, `RAVANT_MISTRAL_URL`,
/// `RAVANT_GITHUB_URL` or `RAVANT_LINEAR_URL`, else the setting. Not checked.
std::string serviceAddress(const SettingsFile& settings, RemoteService service);
/// The same, as `baseAddress` makes it, or `ServiceAddressError`, when the function is called; on any thread.
std::function<std::string()> checkedWhenUsed(const SettingsFile& settings, RemoteService service);

/// Where it comes from, in words.
std::string addressOrigin(RemoteService service);

/// Throws `SettingsError` for a text that is no address, where the setting is one.
void checkAddressSetting(std::string_view key, const std::string& value);

/// The key store that the settings choose.
std::shared_ptr<KeyStore> openKeyStore(const SettingsFile& settings, const Locations& locations);

/// The file of a key store that is one.
std::filesystem::path keyFile(const Locations& locations);

/// Trusts the authorities of the file that `SSL_CERT_FILE` names, where it is set.
HttpEngineOptions httpEngineOptions();
HttpSessionOptions httpSessionOptions(const SettingsFile& settings);

}  // namespace ravant
