#include "runners/cursor/acp_models.hpp"

#include <boost/asio/this_coro.hpp>
#include <filesystem>
#include <utility>

#include "runners/cursor/acp_agent.hpp"
#include "runners/cursor/acp_command.hpp"
#include "runners/cursor/acp_wire.hpp"

namespace ravant {

awaitable<std::vector<ProbedModel>> probeAcpModels(RpcProbeOptions options, std::string binaryPath,
                                                   std::optional<std::vector<std::string>> arguments) {
  std::vector<ProbedModel> models;
  co_await probeOverRpc(
      std::move(options), acpCommandLine(binaryPath, arguments),
      [&models](std::shared_ptr<RpcConnection> connection) -> awaitable<void> {
        AcpAgent agent(co_await asio::this_coro::executor, connection, AcpLimits{});
        co_await agent.initialize();
        co_await agent.authenticate();
        const json::object session = co_await agent.createSession(std::filesystem::current_path().string());
        models = acp::modelsOf(acp::configOptions(session).value_or(std::vector<acp::ConfigOption>()));
      });
  co_return models;
}

}  // namespace ravant
