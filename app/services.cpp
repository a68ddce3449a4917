#include "app/services.hpp"

#include <fmt/format.h>

#include <cstdlib>

#include "app/known_settings.hpp"
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

}  // namespace

std::string serviceAddress(const SettingsFile& settings, RavantProvider provider) {
  const std::string chosen = variable(addressVariable(provider));
  return chosen.empty() ? settings.text(fmt::format("{}{}", setting::kEndpoints, rawValue(provider))) : chosen;
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
