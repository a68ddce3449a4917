#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/agent_type.hpp"
#include "core/id.hpp"
#include "core/integrations/work_item.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// One conversation with one agent in one project. Token figures are absent until a report arrives.
struct Conversation {
  ConversationId id;
  ProjectId project;
  std::optional<AgentId> agent;
  std::optional<std::string> agentResumedSessionId;  ///< the agent's own session, resumed by the next prompt
  std::optional<std::string> lastUsedModel;
  std::optional<std::string> lastUsedEffortRawValue;
  Timestamp createdAt;
  Timestamp lastActivityAt;
  Timestamp lastPromptAt;  ///< the moment of creation until a prompt is sent
  bool archived = false;
  std::optional<std::int64_t> lastUsedTokens;  ///< occupying the context after the last turn
  std::optional<std::int64_t> lastTotalProcessedTokens;
  std::optional<std::int64_t> lastInputTokens;
  std::optional<std::int64_t> lastOutputTokens;
  std::optional<std::int64_t> lastCacheReadTokens;
  std::optional<std::int64_t> lastCacheCreationTokens;
  std::optional<Timestamp> lastUsageUpdatedAt;
  std::optional<std::int64_t> lastMaxTokens;  ///< size of the context window in tokens
  std::optional<std::string> title;
  std::optional<WorkItem> workItem;  ///< what it began with; stays when the integration is removed
  /// Of one without an agent: of which type its agent was.
  std::optional<AgentType> foreignAgentType = {};

  bool operator==(const Conversation&) const = default;
};

}  // namespace ravant
