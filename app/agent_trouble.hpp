#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "agent/ravant_provider_key.hpp"
#include "app/application.hpp"
#include "core/agent.hpp"

namespace ravant {

/// Why an agent's program cannot be started, in a sentence for people; nothing where it can, and where that depends on
/// a project's folder. `searchPath` is that of the login shell (`readShellEnvironment`). Starts nothing; blocks.
std::optional<std::string> programTrouble(const Agent& agent, std::string_view searchPath);

/// Why the built-in agent has no key to work with, in a sentence; nothing where a provider has one. May wait for the
/// user to unlock the key store.
awaitable<std::optional<std::string>> keyTrouble(RavantProviderKey& keys);

/// Whichever of the two concerns the agent.
awaitable<std::optional<std::string>> agentTrouble(Application& application, Agent agent, std::string searchPath);

}  // namespace ravant
