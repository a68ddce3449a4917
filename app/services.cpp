#include "app/services.hpp"

#include <fmt/format.h>

#include <cstdlib>

#include "app/known_settings.hpp"
#include "platform/http/base_address.hpp"
#include "platform/keystore/file_key_store.hpp"
#include "platform/keystore/secret_service_key_store.hpp"

namespace ravant {
namespace {

const char* addressVariable(RavantProvider provider) {
  switch (provider) {
    case RavantProvider::openrouter:
      return "RAVANT_OPENROUTER_URL";
    case RavantProvider::mistral:
      return "RAVANT_MISTRAL_URL";
  }
  __builtin_unreachable();
}

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

std::string settingOf(RavantProvider provider) { return fmt::format("{}{}", setting::kEndpoints, rawValue(provider)); }

}  // namespace

std::string serviceAddress(const SettingsFile& settings, RavantProvider provider) {
  const std::string chosen = variable(addressVariable(provider));
  return chosen.empty() ? settings.text(settingOf(provider)) : chosen;
}

std::string addressOrigin(RavantProvider provider) {
  const char* const name = addressVariable(provider);
  return variable(name).empty() ? fmt::format("the setting {}", settingOf(provider))
                                : fmt::format("the environment variable {}", name);
}

void checkAddressSetting(std::string_view key, const std::string& value) {
  if (!key.starts_with(setting::kEndpoints)) return;
  try {
    baseAddress(value);
  } catch (const BaseAddressError& error) {
    throw SettingsError(SettingsError::Case::wrongValue, error.what());
  }
}

std::shared_ptr<KeyStore> openKeyStore(const SettingsFile& settings, const Locations& locations) {
  if (settings.text(setting::kKeyStore) == setting::kFile) return std::make_shared<FileKeyStore>(keyFile(locations));
  return std::make_shared<SecretServiceKeyStore>();
}

std::filesystem::path keyFile(const Locations& locations) { return locations.dataFolder / "keys.json"; }

HttpEngineOptions httpEngineOptions() { return {.certificates = variable("SSL_CERT_FILE")}; }

HttpSessionOptions httpSessionOptions(const SettingsFile& settings) {
  return {.stallLimit = std::chrono::seconds(settings.integer(setting::kHttpStallSeconds))};
}

}  // namespace ravant
