#pragma once

#include <optional>
#include <string>

#include "app/application.hpp"
#include "core/agent.hpp"

namespace ravant {

/// Whether the built-in agent could work: whether one of its providers has a key.
awaitable<bool> hasProviderKey(Application& application);

/// The slug of the model that an agent is asked for where none is chosen: the first enabled one; of the built-in agent
/// the first whose provider has a key, where one has. Nothing where none is enabled.
awaitable<std::optional<std::string>> defaultModel(Application& application, Agent agent);

}  // namespace ravant
