#include "app/model_discovery.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "app/model_catalog.hpp"
#include "core/agent_command.hpp"
#include "platform/text/text.hpp"
#include "runners/codex/codex_models.hpp"
#include "runners/cursor/acp_models.hpp"
#include "runners/pi/pi_models.hpp"
#include "runners/shell_probe.hpp"

namespace ravant {
namespace {

ShellOptions shellOf(const AgentLocatorOptions& options) {
  return {.shellPath = options.shellPath, .startLimit = options.shellLimit, .ledger = options.processes};
}

RpcProbeOptions rpcProbe(const AgentLocatorOptions& options, any_io_executor io) {
  return {.io = std::move(io), .shell = shellOf(options)};
}

// Pi before 0.87 lists on standard error.
awaitable<std::vector<ProbedModel>> probePiModels(Agent agent, ShellProbeOptions options) {
  const std::string listing = co_await probeInShell(
      std::move(options), AgentCommand::executable(agent.path, AgentType::pi) + " --list-models 2>&1");
  // The listing is sorted by name; the first model is the one that is used unless another is chosen.
  const std::vector<ProbedModel> known = builtInModels(AgentType::pi);
  std::vector<ProbedModel> models;
  std::vector<ProbedModel> others;
  for (ProbedModel& model : parsePiModels(listing)) {
    const bool isKnown = std::ranges::count(known, model.slug, &ProbedModel::slug) > 0;
    (isKnown ? models : others).push_back(std::move(model));
  }
  std::ranges::move(others, std::back_inserter(models));
  const std::string_view words = trimmed(listing);
  if (models.empty() && !words.empty()) throw ModelDiscoveryError(std::string(words));
  co_return models;
}

awaitable<std::vector<ProbedModel>> ask(Agent agent, AgentLocatorOptions options, any_io_executor io) {
  switch (agent.type) {
    case AgentType::codex:
      return probeCodexModels(rpcProbe(options, io), agent.path);
    case AgentType::cursor:
      return probeAcpModels(rpcProbe(options, io), agent.path, agent.arguments);
    case AgentType::pi:
      return probePiModels(std::move(agent), {.io = io, .shell = shellOf(options)});
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
