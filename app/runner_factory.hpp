#pragma once

#include <map>
#include <memory>
#include <string>

#include "agent/ravant_agent_runner.hpp"
#include "core/agent_runner.hpp"
#include "runners/shell_session.hpp"

namespace ravant {

/// What the runners of this program work with.
struct RunnerFactoryOptions {
  any_io_executor io;
  ShellOptions shell;
  std::map<std::string, std::string> claudeEnvironment = {};  ///< added to the shell's
  RavantRunnerOptions builtIn;
};

/// Makes the runners of this program.
class AppRunnerFactory final : public RunnerFactory {
 public:
  explicit AppRunnerFactory(RunnerFactoryOptions options) : options_(std::move(options)) {}

  std::shared_ptr<AgentRunner> makeRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer) override;

 private:
  RunnerFactoryOptions options_;
};

}  // namespace ravant
