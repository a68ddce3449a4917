#include "app/agent_scan.hpp"

#include "app/known_settings.hpp"
#include "app/model_catalog.hpp"
#include "platform/process/login_shell.hpp"

namespace ravant {

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
    scanned.push_back({.located = std::move(located), .isNew = added.has_value()});
  }
  co_return scanned;
}

}  // namespace ravant
