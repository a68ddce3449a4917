#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

enum class ToolInvocationStatus { running, completed, failed };

std::string_view rawValue(ToolInvocationStatus status);
std::optional<ToolInvocationStatus> toolInvocationStatusFromRawValue(std::string_view text);

/// Whether a finished tool call did what was asked.
enum class ToolOutcome { completed, failed };

/// A tool call that has not ended, and since when it runs.
struct RunningInvocation {
  ToolInvocationId id;
  Timestamp since;
};

/// One tool call of the agent. It reaches the transcript only through its group.
struct ToolInvocation {
  ToolInvocationId id;
  std::string rawJSON;
  std::string text;
  Timestamp createdAt;
  std::string toolName;
  std::string toolCallId;  ///< the agent's own id of the call; agents repeat them
  std::optional<std::string> input;
  std::optional<std::string> output;
  ToolInvocationStatus status;
  std::optional<Timestamp> completedAt;
  ConversationItemId parentGroup;

  bool operator==(const ToolInvocation&) const = default;
};

}  // namespace ravant
