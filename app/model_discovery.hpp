#pragma once

#include <stdexcept>
#include <vector>

#include "app/agent_locator.hpp"
#include "core/agent.hpp"
#include "core/agent_model.hpp"

namespace ravant {

/// The models that an agent has to offer now: asked of the agent itself where it can tell (Codex, Cursor, Pi), of the
/// built-in table otherwise. Starts the agent in the user's login shell and ends it. Throws `ModelDiscoveryError`.
awaitable<std::vector<ProbedModel>> discoverModels(Agent agent, AgentLocatorOptions options, any_io_executor io);

/// An agent that could not be asked, or that told of no model; `what()` is in its own words where it had any.
class ModelDiscoveryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace ravant
