#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace ravant {

/// The kind of a coding agent, stored as its raw text value.
enum class AgentType { ravant, codex, claude, pi, cursor };

/// Every type in its declared order.
inline constexpr std::array kAgentTypes = {AgentType::ravant, AgentType::codex, AgentType::claude, AgentType::pi,
                                           AgentType::cursor};

std::string_view rawValue(AgentType type);
std::optional<AgentType> agentTypeFromRawValue(std::string_view text);

/// The name shown to the user.
std::string_view displayName(AgentType type);

/// The name of the icon image that stands for the type.
std::string_view iconName(AgentType type);

/// The command that starts the agent when no path is configured.
std::string_view defaultCommandName(AgentType type);

}  // namespace ravant
