#include "app/runner_factory.hpp"

#include "runners/claude/claude_code_shell_runner.hpp"
#include "runners/codex/codex_app_server_runner.hpp"
#include "runners/cursor/cursor_acp_runner.hpp"
#include "runners/pi/pi_shell_runner.hpp"

namespace ravant {

std::shared_ptr<AgentRunner> AppRunnerFactory::makeRunner(AgentType type,
                                                          std::shared_ptr<ModelContainer> modelContainer) {
  ShellRunnerOptions shell{.io = options_.io, .shell = options_.shell};
  const RpcRunnerOptions rpc{.io = options_.io, .shell = options_.shell};
  switch (type) {
    case AgentType::claude:
      for (const auto& [name, value] : options_.claudeEnvironment) shell.shell.environment[name] = value;
      return std::make_shared<ClaudeCodeShellRunner>(std::move(modelContainer), shell);
    case AgentType::pi:
      return std::make_shared<PiShellRunner>(std::move(modelContainer), shell);
    case AgentType::codex:
      return std::make_shared<CodexAppServerRunner>(std::move(modelContainer), rpc);
    case AgentType::cursor:
      return std::make_shared<CursorAcpRunner>(std::move(modelContainer), rpc);
    case AgentType::ravant:
      return std::make_shared<RavantAgentRunner>(std::move(modelContainer), options_.builtIn);
  }
  __builtin_unreachable();
}

}  // namespace ravant
