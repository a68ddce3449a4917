#include "agent/ravant_provider.hpp"

#include <algorithm>
#include <utility>

namespace ravant {
namespace {

struct Texts {
  std::string_view rawValue;
  std::string_view displayName;
  std::string_view baseAddress;
  std::string_view endpointPath;
  const char* keyVariable;
};

constexpr std::array<Texts, kRavantProviders.size()> kTexts = {{
    {"openrouter", "OpenRouter", "https://openrouter.ai", "/api/v1/chat/completions", "OPENROUTER_API_KEY"},
    {"mistral", "Mistral", "https://api.mistral.ai", "/v1/chat/completions", "MISTRAL_API_KEY"},
}};

const Texts& texts(RavantProvider provider) {
  return kTexts.at(static_cast<std::size_t>(std::to_underlying(provider)));
}

}  // namespace

std::string_view rawValue(RavantProvider provider) { return texts(provider).rawValue; }

std::optional<RavantProvider> ravantProviderFromRawValue(std::string_view text) {
  const auto* found =
      std::ranges::find(kRavantProviders, text, [](RavantProvider provider) { return rawValue(provider); });
  return found == kRavantProviders.end() ? std::nullopt : std::optional(*found);
}

std::string_view displayName(RavantProvider provider) { return texts(provider).displayName; }
std::string_view defaultBaseAddress(RavantProvider provider) { return texts(provider).baseAddress; }
std::string_view endpointPath(RavantProvider provider) { return texts(provider).endpointPath; }
const char* keyVariable(RavantProvider provider) { return texts(provider).keyVariable; }

std::vector<std::string> keyVariables() {
  std::vector<std::string> names;
  for (const RavantProvider provider : kRavantProviders) names.emplace_back(keyVariable(provider));
  return names;
}

}  // namespace ravant
