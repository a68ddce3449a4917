#pragma once

#include "app/agent_locator.hpp"
#include "core/store/agent_model_store.hpp"
#include "platform/settings/settings_file.hpp"

namespace ravant {

struct ScannedAgent {
  LocatedAgent located;
  bool isNew;  ///< registered by this scan
};

/// How agents are looked for, as the settings say.
AgentLocatorOptions locatorOptions(const SettingsFile& settings, std::shared_ptr<ProcessLedger> processes);

/// Finds the agents that are installed for the login shell and registers those whose type is not registered. Throws
/// what `readShellEnvironment` throws.
awaitable<std::vector<ScannedAgent>> scanAgents(AgentModelStore& agents, AgentLocatorOptions options,
                                                any_io_executor io);

}  // namespace ravant
