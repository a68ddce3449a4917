#include "runners/cursor/acp_models.hpp"

#include <filesystem>
#include <utility>

#include "core/agent_runner_error.hpp"
#include "runners/cursor/acp_command.hpp"
#include "runners/cursor/acp_wire.hpp"

namespace ravant {

awaitable<std::vector<ProbedModel>> probeAcpModels(RpcProbeOptions options, std::string binaryPath,
                                                   std::optional<std::vector<std::string>> arguments) {
  std::vector<ProbedModel> models;
  co_await probeOverRpc(
      std::move(options), acpCommandLine(binaryPath, arguments),
      [&models](std::shared_ptr<RpcConnection> agent) -> awaitable<void> {
        const json::object initialized = co_await agent->request("initialize", acp::initializeParams());
        try {
          co_await agent->request("authenticate", {{"methodId", acp::authMethod(initialized)}});
        } catch (const AgentRunnerError& refused) {
          if (refused.kind() != AgentRunnerError::Case::rpc) throw;
        }
        const json::object session = co_await agent->request(
            "session/new", acp::sessionParams(std::nullopt, std::filesystem::current_path().string()));
        models = acp::modelsOf(acp::configOptions(session).value_or(std::vector<acp::ConfigOption>()));
      });
  co_return models;
}

}  // namespace ravant
