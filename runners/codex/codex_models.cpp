#include "runners/codex/codex_models.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "core/agent_command.hpp"
#include "runners/codex/codex_wire.hpp"

namespace ravant {

awaitable<std::vector<ProbedModel>> probeCodexModels(RpcProbeOptions options, std::string binaryPath) {
  std::vector<ProbedModel> models;
  co_await probeOverRpc(
      std::move(options), fmt::format("{} app-server", AgentCommand::executable(binaryPath, AgentType::codex)),
      [&models](std::shared_ptr<RpcConnection> server) -> awaitable<void> {
        co_await server->request("initialize", codex::initializeParams());
        server->notify("initialized");
        std::optional<std::string> cursor;
        do {
          const json::object page = co_await server->request("model/list", codex::modelListParams(cursor));
          std::ranges::move(codex::modelsOf(page), std::back_inserter(models));
          cursor = codex::nextCursor(page);
        } while (cursor);
      });
  co_return models;
}

}  // namespace ravant
