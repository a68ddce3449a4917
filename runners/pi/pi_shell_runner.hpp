#pragma once

#include <memory>

#include "runners/shell_runner.hpp"

namespace ravant {

/// Runs one conversation with Pi in JSON mode.
class PiShellRunner final : public ShellRunner {
 public:
  PiShellRunner(std::shared_ptr<ModelContainer> modelContainer, ShellRunnerOptions options)
      : ShellRunner(AgentType::pi, std::move(modelContainer), std::move(options)) {}

 private:
  std::unique_ptr<AgentTurn> makeTurn(std::optional<std::string> resumedSessionId,
                                      std::optional<std::int64_t> contextWindow) override;
};

}  // namespace ravant
