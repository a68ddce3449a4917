#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/agent.hpp"
#include "core/conversation.hpp"
#include "core/store/agent_model_store.hpp"

namespace ravant {

/// An effort that a model does not take; `what()` lists those that it does.
class EffortError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The efforts that an agent's model takes. Nothing where nobody but the agent knows them: it is passed any.
awaitable<std::optional<std::vector<std::string>>> effortsOf(AgentModelStore& models, Agent agent, std::string slug);

/// Throws `EffortError` where the model is known not to take the effort.
awaitable<void> expectEffort(AgentModelStore& models, Agent agent, std::string slug, std::string effort);

/// The conversation's last effort, where the model takes it.
awaitable<std::optional<std::string>> lastEffort(AgentModelStore& models, Conversation conversation, Agent agent,
                                                 std::string slug);

}  // namespace ravant
