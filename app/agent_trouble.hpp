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

/// Why an agent cannot work.
struct AgentTrouble {
  std::string words;                                      ///< a sentence for people
  std::optional<KeyStoreError::Case> keyStoreFault = {};  ///< where it is the key store that gives no key
};

/// Why the built-in agent has no key to work with; nothing where a provider has one. May wait for the user to unlock
/// the key store.
awaitable<std::optional<AgentTrouble>> keyTrouble(RavantProviderKey& keys);

/// Whichever of the two concerns the agent.
awaitable<std::optional<AgentTrouble>> agentTrouble(Application& application, Agent agent, std::string searchPath);

}  // namespace ravant
