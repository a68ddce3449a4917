#include "desktop/composer/prompt_options.hpp"

#include <algorithm>

#include "app/default_model.hpp"
#include "app/model_efforts.hpp"

namespace ravant::desktop {
namespace {

void chooseAgentOf(const Conversation& conversation, const std::vector<Agent>& all, PromptOptions& options) {
  const auto own = std::ranges::find_if(all, [&](const Agent& agent) { return agent.id == conversation.agent; });
  if (own != all.end()) {
    options.agent = *own;
    if (own->enabled) return;
    options.obstacle = PromptObstacle::agentDisabled;
  } else {
    const bool isForeign = conversation.foreignAgentType.has_value();
    options.obstacle = isForeign ? PromptObstacle::agentUnregistered : PromptObstacle::agentRemoved;
  }
}

bool isWanted(const Agent& agent, const WantedOptions& wanted) {
  return wanted.agent ? agent.id == *wanted.agent : agent.type == wanted.agentType;
}

awaitable<void> chooseAgentOfNew(Application& application, WantedOptions wanted, PromptOptions& options) {
  const auto chosen = std::ranges::find_if(options.agents, [&](const Agent& agent) { return isWanted(agent, wanted); });
  if (chosen != options.agents.end()) {
    options.agent = *chosen;
    co_return;
  }
  for (const Agent& agent : options.agents) {
    if (agent.type == AgentType::ravant && !co_await hasProviderKey(application)) continue;
    options.agent = agent;
    co_return;
  }
  if (!options.agents.empty()) {
    options.agent = options.agents.front();
  } else {
    options.obstacle = PromptObstacle::noAgent;
  }
}

awaitable<void> readModels(Application& application, std::vector<Agent> agents, PromptOptions& options) {
  for (const Agent& agent : agents) {
    for (AgentModel& model : co_await application.agents().models(agent.id)) {
      if (!model.enabled || model.visibility != AgentModelVisibility::listed) continue;
      options.models.push_back({.agent = agent, .slug = std::move(model.slug), .displayName = model.displayName});
    }
  }
}

}  // namespace

awaitable<PromptOptions> readPromptOptions(Application& application, std::optional<Conversation> conversation,
                                           WantedOptions wanted) {
  PromptOptions options;
  const std::vector<Agent> all = co_await application.agents().agents();
  std::ranges::copy_if(all, std::back_inserter(options.agents), &Agent::enabled);
  if (conversation) {
    chooseAgentOf(*conversation, all, options);
  } else {
    co_await chooseAgentOfNew(application, wanted, options);
  }
  if (!options.agent) co_return options;
  const bool namesAgent = wanted.agent || wanted.agentType;
  if (!conversation && namesAgent && !isWanted(*options.agent, wanted)) wanted = {};
  const Agent agent = *options.agent;
  std::vector<Agent> choosable{agent};
  if (!conversation) {
    std::ranges::copy_if(options.agents, std::back_inserter(choosable),
                         [&](const Agent& other) { return other.id != agent.id; });
  }
  co_await readModels(application, std::move(choosable), options);
  auto slug = std::move(wanted.model);
  if (!slug && conversation) slug = conversation->lastUsedModel;
  if (!slug) slug = co_await defaultModel(application, agent);
  if (!slug) {
    if (options.obstacle == PromptObstacle::none) options.obstacle = PromptObstacle::noModel;
    co_return options;
  }
  options.model = *std::move(slug);
  options.efforts = co_await effortsOf(application.agents(), agent, options.model);
  auto effort = std::move(wanted.effort);
  if (!effort && conversation) effort = conversation->lastUsedEffortRawValue;
  const bool isTaken =
      effort && !effort->empty() && (!options.efforts || std::ranges::count(*options.efforts, *effort) > 0);
  if (isTaken) options.effort = std::move(effort);
  co_return options;
}

}  // namespace ravant::desktop
