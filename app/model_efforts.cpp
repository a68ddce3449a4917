#include "app/model_efforts.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "core/agent_command.hpp"

namespace ravant {
namespace {

/// Those of models that are not listed.
std::optional<std::vector<std::string>> effortsOfAnyModel(AgentType type) {
  switch (type) {
    case AgentType::claude:
      return AgentCommand::promptKeywords();
    case AgentType::pi:
      return std::vector<std::string>();
    case AgentType::codex:
    case AgentType::cursor:
    case AgentType::ravant:
      return std::nullopt;
  }
  __builtin_unreachable();
}

}  // namespace

awaitable<std::optional<std::vector<std::string>>> effortsOf(AgentModelStore& models, Agent agent, std::string slug) {
  for (AgentModel& model : co_await models.models(agent.id)) {
    if (model.slug == slug && !model.isCustom) co_return std::move(model.efforts);
  }
  co_return effortsOfAnyModel(agent.type);
}

awaitable<void> expectEffort(AgentModelStore& models, Agent agent, std::string slug, std::string effort) {
  const auto efforts = co_await effortsOf(models, std::move(agent), slug);
  if (!efforts || std::ranges::count(*efforts, effort) > 0) co_return;
  throw EffortError(fmt::format("the model {} has no effort \"{}\"; it has {}", slug, effort,
                                efforts->empty() ? "none" : fmt::format("{}", fmt::join(*efforts, ", "))));
}

awaitable<std::optional<std::string>> lastEffort(AgentModelStore& models, Conversation conversation, Agent agent,
                                                 std::string slug) {
  auto effort = std::move(conversation.lastUsedEffortRawValue);
  const auto efforts = co_await effortsOf(models, std::move(agent), std::move(slug));
  if (effort && efforts && std::ranges::count(*efforts, *effort) == 0) effort.reset();
  co_return effort;
}

}  // namespace ravant
