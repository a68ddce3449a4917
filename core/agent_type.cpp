#include "core/agent_type.hpp"

#include <algorithm>
#include <utility>

namespace ravant {
namespace {

struct Names {
  std::string_view rawValue;
  std::string_view displayName;
  std::string_view iconName;
  std::string_view commandName;
};

constexpr std::array<Names, kAgentTypes.size()> kNames = {{
    {"ravant", "Ravant", "ravant", "ravant"},
    {"codex", "Codex", "AgentCodex", "codex"},
    {"claude", "Claude Code", "AgentClaude", "claude"},
    {"pi", "Pi", "AgentPi", "pi"},
    {"cursor", "Cursor", "AgentCursor", "cursor-agent"},
}};

const Names& names(AgentType type) { return kNames.at(static_cast<std::size_t>(std::to_underlying(type))); }

}  // namespace

std::string_view rawValue(AgentType type) { return names(type).rawValue; }

std::optional<AgentType> agentTypeFromRawValue(std::string_view text) {
  const auto* found = std::ranges::find(kAgentTypes, text, rawValue);
  return found == kAgentTypes.end() ? std::nullopt : std::optional(*found);
}

std::string_view displayName(AgentType type) { return names(type).displayName; }

std::string_view iconName(AgentType type) { return names(type).iconName; }

std::string_view defaultCommandName(AgentType type) { return names(type).commandName; }

}  // namespace ravant
