#include "app/agent_scan.hpp"

#include "app/known_settings.hpp"
#include "app/model_catalog.hpp"
#include "app/program_search.hpp"
#include "platform/process/login_shell.hpp"

namespace ravant {

namespace {

/// Whether a registered agent of the type led to no program and now leads to the one that was found.
awaitable<bool> mendPaths(AgentModelStore& agents, LocatedAgent located) {
  bool isMended = false;
  for (const Agent& agent : co_await agents.agents()) {
    if (agent.type != located.type || !agent.path.contains('/') || isProgram(agent.path)) continue;
    co_await agents.setPath(agent.id, located.path);
    isMended = true;
  }
  co_return isMended;
}

}  // namespace

AgentLocatorOptions locatorOptions(const SettingsFile& settings, std::shared_ptr<ProcessLedger> processes) {
  return {.shellPath = loginShell().path,
          .shellLimit = std::chrono::seconds(settings.integer(setting::kShellStartSeconds)),
          .processes = std::move(processes)};
}

awaitable<std::vector<ScannedAgent>> scanAgents(AgentModelStore& agents, AgentLocatorOptions options,
                                                any_io_executor io) {
  const ShellEnvironment environment = co_await readShellEnvironment(options, io);
  std::vector<ScannedAgent> scanned;
  for (LocatedAgent& located : co_await locateAgents(options, environment.searchPath, io)) {
    const auto added = co_await agents.createAgentIfMissing(located.type, located.path, builtInModels(located.type));
    ScannedAgent::Outcome outcome = ScannedAgent::Outcome::known;
    if (added) {
      outcome = ScannedAgent::Outcome::added;
    } else if (co_await mendPaths(agents, located)) {
      outcome = ScannedAgent::Outcome::mended;
    }
    scanned.push_back({.located = std::move(located), .outcome = outcome});
  }
  co_return scanned;
}

}  // namespace ravant
