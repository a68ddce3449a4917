#include "core/agent_model.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace ravant {
namespace {

constexpr std::array<std::string_view, 3> kVisibilityRawValues = {"listed", "settingsOnly", "hidden"};

}  // namespace

std::string_view rawValue(AgentModelVisibility visibility) {
  return kVisibilityRawValues.at(static_cast<std::size_t>(std::to_underlying(visibility)));
}

std::optional<AgentModelVisibility> agentModelVisibilityFromRawValue(std::string_view text) {
  const auto* found = std::ranges::find(kVisibilityRawValues, text);
  if (found == kVisibilityRawValues.end()) return std::nullopt;
  return static_cast<AgentModelVisibility>(found - kVisibilityRawValues.begin());
}

AgentModel makeAgentModel(ProbedModel probed, std::int64_t order, Timestamp refreshedAt) {
  return {.id = {},
          .slug = std::move(probed.slug),
          .order = order,
          .enabled = probed.enabledByDefault,
          .displayName = std::move(probed.displayName),
          .efforts = std::move(probed.efforts),
          .defaultEffort = std::move(probed.defaultEffort),
          .supportsThinking = probed.supportsThinking,
          .supportsFastMode = probed.supportsFastMode,
          .contextWindowOptions = std::move(probed.contextWindowOptions),
          .defaultContextWindow = std::move(probed.defaultContextWindow),
          .promptInjectedEfforts = std::move(probed.promptInjectedEfforts),
          .visibility = AgentModelVisibility::listed,
          .refreshedAt = refreshedAt,
          .isCustom = false,
          .agent = std::nullopt};
}

AgentModel makeCustomAgentModel(std::string slug, std::string displayName, std::int64_t order, Timestamp now) {
  AgentModel model = makeAgentModel({.slug = std::move(slug), .displayName = std::move(displayName)}, order, now);
  model.isCustom = true;
  return model;
}

}  // namespace ravant
