#pragma once

#include <memory>
#include <string>

#include "agent/ravant_provider.hpp"
#include "app/locations.hpp"
#include "platform/http/http_engine.hpp"
#include "platform/http/http_session.hpp"
#include "platform/keystore/key_store.hpp"
#include "platform/settings/settings_file.hpp"

namespace ravant {

/// What stands in for the provider's host: `RAVANT_OPENROUTER_URL` or `RAVANT_MISTRAL_URL`, else the setting. Not
/// checked.
std::string serviceAddress(const SettingsFile& settings, RavantProvider provider);

/// Where it comes from, in words.
std::string addressOrigin(RavantProvider provider);

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
