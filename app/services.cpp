#include "app/services.hpp"

#include <fmt/format.h>

#include <cstdlib>

#include "app/known_settings.hpp"
#include "platform/http/base_address.hpp"
#include "platform/keystore/file_key_store.hpp"
#include "platform/keystore/secret_service_key_store.hpp"

namespace ravant {
namespace {

struct Texts {
  std::string_view rawValue;
  std::string_view displayName;
  std::string_view baseAddress;
  const char* addressVariable;
};

Texts ofProvider(RavantProvider provider, const char* addressVariable) {
  return {rawValue(provider), displayName(provider), defaultBaseAddress(provider), addressVariable};
}

Texts texts(RemoteService service) {
  switch (service) {
    case RemoteService::openrouter:
      return ofProvider(RavantProvider::openrouter, "RAVANT_OPENROUTER_URL");
    case RemoteService::mistral:
      return ofProvider(RavantProvider::mistral, "RAVANT_MISTRAL_URL");
    case RemoteService::github:
      return {"github", "GitHub", "https://api.github.com", "RAVANT_GITHUB_URL"};
    case RemoteService::linear:
      return {"linear", "Linear", "https://api.linear.app", "RAVANT_LINEAR_URL"};
  }
  __builtin_unreachable();
}

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

std::string settingOf(RemoteService service) { return fmt::format("{}{}", setting::kEndpoints, rawValue(service)); }

}  // namespace

std::string_view rawValue(RemoteService service) { return texts(service).rawValue; }
std::string_view displayName(RemoteService service) { return texts(service).displayName; }
std::string_view defaultBaseAddress(RemoteService service) { return texts(service).baseAddress; }

RemoteService serviceOf(RavantProvider provider) {
  switch (provider) {
    case RavantProvider::openrouter:
      return RemoteService::openrouter;
    case RavantProvider::mistral:
      return RemoteService::mistral;
  }
  __builtin_unreachable();
}

std::string serviceAddress(const SettingsFile& settings, RemoteService service) {
  const std::string chosen = variable(texts(service).addressVariable);
  return chosen.empty() ? settings.text(settingOf(service)) : chosen;
}

std::function<std::string()> checkedWhenUsed(const SettingsFile& settings, RemoteService service) {
  return [service, address = serviceAddress(settings, service), origin = addressOrigin(service)] {
    try {
      return baseAddress(address);
    } catch (const BaseAddressError& error) {
      throw ServiceAddressError(
          fmt::format("the address of {} cannot be used: {} (see {})", displayName(service), error.what(), origin));
    }
  };
}

std::string addressOrigin(RemoteService service) {
  const char* const name = texts(service).addressVariable;
  return variable(name).empty() ? fmt::format("the setting {}", settingOf(service))
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
