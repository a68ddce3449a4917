#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// A service that speaks the chat-completions protocol.
enum class RavantProvider { openrouter, mistral };

inline constexpr std::array kRavantProviders = {RavantProvider::openrouter, RavantProvider::mistral};

/// The identifier under which its key is kept.
std::string_view rawValue(RavantProvider provider);
std::optional<RavantProvider> ravantProviderFromRawValue(std::string_view text);

std::string_view displayName(RavantProvider provider);

/// Of its service, such as `https://host`.
/// Source: openrouter.ai/docs/api-reference and docs.mistral.ai/api, November 2026.
std::string_view defaultBaseAddress(RavantProvider provider);
std::string_view endpointPath(RavantProvider provider);

/// The environment variable that may supply its key.
const char* keyVariable(RavantProvider provider);
/// Those of all providers. What runs without need of a key does not get them.
std::vector<std::string> keyVariables();

}  // namespace ravant
