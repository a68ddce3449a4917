#pragma once

#include "app/agent_locator.hpp"
#include "core/store/agent_model_store.hpp"
#include "platform/settings/settings_file.hpp"

namespace ravant {

struct ScannedAgent {
  /// What the scan did: nothing, registered the agent, or gave a registered one the path of the program that was found,
  /// because its own led to none.
  enum class Outcome { known, added, mended };

  LocatedAgent located;
  Outcome outcome;
};

/// How agents are looked for, as the settings say.
AgentLocatorOptions locatorOptions(const SettingsFile& settings, std::shared_ptr<ProcessLedger> processes);

/// Finds the agents that are installed for the login shell, registers those whose type is not registered, and mends the
/// paths of those whose program is gone. Throws what `readShellEnvironment` throws.
awaitable<std::vector<ScannedAgent>> scanAgents(AgentModelStore& agents, AgentLocatorOptions options,
                                                any_io_executor io);

}  // namespace ravant
