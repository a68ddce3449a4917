#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// Where a model is listed: in the model picker and the settings, only in the settings, or nowhere.
enum class AgentModelVisibility { listed, settingsOnly, hidden };

std::string_view rawValue(AgentModelVisibility visibility);
std::optional<AgentModelVisibility> agentModelVisibilityFromRawValue(std::string_view text);

/// What an agent, or a built-in table, says about one model.
struct ProbedModel {
  std::string slug;
  bool enabledByDefault = true;
  std::string displayName;
  std::vector<std::string> efforts;
  std::optional<std::string> defaultEffort;
  bool supportsThinking = false;
  bool supportsFastMode = false;
  std::vector<std::string> contextWindowOptions;
  std::optional<std::string> defaultContextWindow;
  std::vector<std::string> promptInjectedEfforts;

  bool operator==(const ProbedModel&) const = default;
};

/// One model that an agent can run.
struct AgentModel {
  AgentModelId id;   ///< none until it is stored
  std::string slug;  ///< what is passed to the agent
  std::int64_t order;
  bool enabled;
  std::string displayName;
  std::vector<std::string> efforts;
  std::optional<std::string> defaultEffort;
  bool supportsThinking;
  bool supportsFastMode;
  std::vector<std::string> contextWindowOptions;
  std::optional<std::string> defaultContextWindow;
  std::vector<std::string> promptInjectedEfforts;  ///< applied by a keyword in the prompt instead of a flag
  AgentModelVisibility visibility;
  Timestamp refreshedAt;
  bool isCustom;  ///< added by the user by its slug
  std::optional<AgentId> agent;

  bool operator==(const AgentModel&) const = default;
};

/// The model that a discovered record becomes; it has no owner until it is stored.
AgentModel makeAgentModel(ProbedModel probed, std::int64_t order, Timestamp refreshedAt);

/// The model for a slug that the user added by hand.
AgentModel makeCustomAgentModel(std::string slug, std::string displayName, std::int64_t order, Timestamp now);

}  // namespace ravant
