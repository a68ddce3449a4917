#include "app/model_discovery.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "platform/text/text.hpp"
#include "runners/codex/codex_models.hpp"
#include "runners/cursor/acp_models.hpp"
#include "runners/model_catalog.hpp"
#include "runners/pi/pi_models.hpp"
#include "runners/probe_process.hpp"

namespace ravant {
namespace {

RpcProbeOptions rpcProbe(const AgentLocatorOptions& options, any_io_executor io) {
  return {.io = std::move(io),
          .shell = {.shellPath = options.shellPath, .startLimit = options.shellLimit, .ledger = options.processes}};
}

/// Where the login shell would find the program.
std::string programOf(const Agent& agent, std::string_view searchPath) {
  const std::string_view configured = trimmed(agent.path);
  if (configured.find('/') != std::string_view::npos) return std::string(configured);
  if (!configured.empty()) throw ModelDiscoveryError(fmt::format("the path {} is not absolute", configured));
  const std::vector<LocatedAgent> found = findAgents(searchPath);
  const auto located = std::ranges::find(found, agent.type, &LocatedAgent::type);
  if (located != found.end()) return located->path;
  throw ModelDiscoveryError(
      fmt::format("{} was not found in the search path of your shell", defaultCommandName(agent.type)));
}

awaitable<std::vector<ProbedModel>> probePiModels(Agent agent, AgentLocatorOptions options, any_io_executor io) {
  const ShellEnvironment environment = co_await readShellEnvironment(options, io);
  const std::string program = programOf(agent, environment.searchPath);
  const std::string listing =
      co_await ProbeProcess::run(program, {"--list-models"}, "models of " + program,
                                 {.environment = {{"PATH", environment.searchPath}}, .ledger = options.processes});
  // The listing is sorted by name; the first model is the one that is used unless another is chosen.
  const std::vector<ProbedModel> known = builtInModels(AgentType::pi);
  std::vector<ProbedModel> models;
  std::vector<ProbedModel> others;
  for (ProbedModel& model : parsePiModels(listing)) {
    const bool isKnown = std::ranges::count(known, model.slug, &ProbedModel::slug) > 0;
    (isKnown ? models : others).push_back(std::move(model));
  }
  std::ranges::move(others, std::back_inserter(models));
  co_return models;
}

awaitable<std::vector<ProbedModel>> ask(Agent agent, AgentLocatorOptions options, any_io_executor io) {
  switch (agent.type) {
    case AgentType::codex:
      return probeCodexModels(rpcProbe(options, io), agent.path);
    case AgentType::cursor:
      return probeAcpModels(rpcProbe(options, io), agent.path, agent.arguments);
    case AgentType::pi:
      return probePiModels(std::move(agent), std::move(options), io);
    case AgentType::claude:
    case AgentType::ravant:
      break;
  }
  return [](AgentType type) -> awaitable<std::vector<ProbedModel>> { co_return builtInModels(type); }(agent.type);
}

}  // namespace

awaitable<std::vector<ProbedModel>> discoverModels(Agent agent, AgentLocatorOptions options, any_io_executor io) {
  std::vector<ProbedModel> models;
  std::string failure;
  try {
    models = co_await ask(agent, std::move(options), io);
    if (models.empty()) failure = "it told of none";
  } catch (const std::exception& error) {
    failure = error.what();
  }
  if (!failure.empty()) {
    throw ModelDiscoveryError(
        fmt::format("{} could not be asked for its models: {}", displayName(agent.type), failure));
  }
  co_return models;
}

}  // namespace ravant
