#pragma once

#include <string>
#include <string_view>

#include "core/agent_type.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// The record kept as a user message's `rawJSON`: the prompt in the shape of the agent's own log.
std::string formatUserPrompt(std::string_view prompt, AgentType agent, Timestamp now);

}  // namespace ravant
