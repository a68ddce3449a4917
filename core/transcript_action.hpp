#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "core/token_usage_snapshot.hpp"
#include "core/tool_invocation.hpp"

namespace ravant {

/// What an agent's output asks the transcript to take in.
namespace turn {

struct AppendAgentMessage {
  std::string rawJSON;
  std::string text;
  std::optional<std::string> agentModel;
  std::optional<std::string> providerMessageId;
  bool operator==(const AppendAgentMessage&) const = default;
};
struct AppendToolInvocation {
  std::string rawJSON;
  std::string text;
  std::string toolName;
  std::string toolCallId;
  std::optional<std::string> input = {};
  std::optional<std::string> output = {};
  ToolInvocationStatus status = ToolInvocationStatus::running;
  bool operator==(const AppendToolInvocation&) const = default;
};
/// What became known of a call after it was added; what is absent stays as it is.
struct UpdateToolInvocation {
  std::string toolCallId;
  std::optional<std::string> toolName = {};
  std::optional<std::string> input = {};
  std::optional<std::string> output = {};  ///< all of it up to now
  bool operator==(const UpdateToolInvocation&) const = default;
};
struct CompleteToolInvocation {
  std::string toolCallId;
  std::string output;
  ToolOutcome outcome;
  bool operator==(const CompleteToolInvocation&) const = default;
};
struct AppendCompactionEvent {
  std::string rawJSON;
  std::string text;
  bool operator==(const AppendCompactionEvent&) const = default;
};
struct ApplyUsage {
  std::optional<std::string> providerMessageId;
  TokenUsageSnapshot snapshot;
  bool operator==(const ApplyUsage&) const = default;
};
struct ApplyContextWindow {
  std::int64_t maxTokens;
  bool operator==(const ApplyContextWindow&) const = default;
};
/// What fills the model's context, told by itself; the other counts stay as they are.
struct ApplyContextUse {
  std::int64_t usedTokens;
  bool operator==(const ApplyContextUse&) const = default;
};
/// The agent's own session, to be resumed by the next prompt; nothing when the agent no longer knows
/// the one it was given.
struct SetSession {
  std::optional<std::string> sessionId;
  bool operator==(const SetSession&) const = default;
};

}  // namespace turn

using TranscriptAction = std::variant<turn::AppendAgentMessage, turn::AppendToolInvocation, turn::UpdateToolInvocation,
                                      turn::CompleteToolInvocation, turn::AppendCompactionEvent, turn::ApplyUsage,
                                      turn::ApplyContextWindow, turn::ApplyContextUse, turn::SetSession>;

}  // namespace ravant
