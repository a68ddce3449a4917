#pragma once

#include <chrono>
#include <memory>

#include "core/agent_runner.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

/// Whether this version has a runner for the type; the others' fails and says so.
bool isRunnable(AgentType type);

/// Makes the runners of this program.
class AppRunnerFactory final : public RunnerFactory {
 public:
  AppRunnerFactory(any_io_executor io, std::shared_ptr<ProcessLedger> processes, std::chrono::seconds shellStartLimit)
      : io_(std::move(io)), processes_(std::move(processes)), shellStartLimit_(shellStartLimit) {}

  std::shared_ptr<AgentRunner> makeRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer) override;

 private:
  any_io_executor io_;
  std::shared_ptr<ProcessLedger> processes_;
  std::chrono::seconds shellStartLimit_;
};

}  // namespace ravant
