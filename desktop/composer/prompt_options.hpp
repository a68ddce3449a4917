#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/application.hpp"

namespace ravant::desktop {

/// What the user has chosen for the next prompt, where it is not what the conversation had last.
struct WantedOptions {
  std::optional<AgentId> agent = {};  ///< counts for new conversations only
  /// Where no agent is named: the first one of the type.
  std::optional<AgentType> agentType = {};
  std::optional<std::string> model = {};
  /// An empty effort is the model's own.
  std::optional<std::string> effort = {};
};

/// One that can be chosen, with the agent that it comes with.
struct ModelOption {
  Agent agent;
  std::string slug;
  std::string displayName;
};

/// Why nothing can be sent.
enum class PromptObstacle { none, noAgent, agentDisabled, agentUnregistered, agentRemoved, noModel };

/// What a prompt would be sent with, and what could be chosen instead.
struct PromptOptions {
  std::vector<Agent> agents = {};  ///< those that are enabled
  std::optional<Agent> agent = {};
  std::vector<ModelOption> models = {};  ///< those of the agent; behind them, for a new conversation, the others'
  std::string model = {};                ///< slug; empty where there is none
  /// Those that the model takes. Nothing where nobody but the agent knows them.
  std::optional<std::vector<std::string>> efforts = std::vector<std::string>();
  std::optional<std::string> effort = {};
  PromptObstacle obstacle = PromptObstacle::none;
};

/// For a prompt of the conversation; without one, for the first prompt of a new one. A choice that is not possible any
/// more gives way to the default. Throws `StoreError`.
awaitable<PromptOptions> readPromptOptions(Application& application, std::optional<Conversation> conversation,
                                           WantedOptions wanted);

}  // namespace ravant::desktop
