#pragma once

#include <optional>
#include <string>

#include "core/agent_type.hpp"
#include "core/conversation.hpp"

namespace ravant {

/// What an export says of a conversation beside its entries. The ids of project and agent mean nothing elsewhere: their
/// folder, name and type stand for them.
struct ExportedConversation {
  Conversation conversation;
  std::string projectPath;
  std::string projectName;
  std::optional<AgentType> agentType;
  /// The beginning of the first prompt, where there is no title. It is among the entries, so JSON does not say it.
  std::optional<std::string> firstWords = {};
};

}  // namespace ravant
