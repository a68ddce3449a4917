#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/id.hpp"
#include "core/prompt_outcome.hpp"
#include "core/tool_invocation.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

enum class MessageBlockKind { prose, code };

std::string_view rawValue(MessageBlockKind kind);
std::optional<MessageBlockKind> messageBlockKindFromRawValue(std::string_view text);

/// One block of an agent message.
struct MessageBlock {
  std::string text;
  std::optional<std::string> language;  ///< of a code block
  std::int64_t index;                   ///< position in the message, from 0
  MessageBlockKind kind;

  bool operator==(const MessageBlock&) const = default;
};

/// A prompt the user sent.
struct UserMessage {
  std::optional<PromptOutcome> endReason;  ///< absent while it runs, and where nobody knows
  std::optional<Timestamp> endedAt;        ///< of one that was interrupted: when its last activity was

  bool operator==(const UserMessage&) const = default;
};

/// One reply of the agent. Token counts are absent until a usage report names the message.
struct AgentMessage {
  std::optional<std::string> agentModel;         ///< slug of the model that produced it
  std::optional<std::string> providerMessageId;  ///< what usage reports are matched by
  std::optional<std::int64_t> inputTokens;
  std::optional<std::int64_t> outputTokens;
  std::optional<std::int64_t> cacheReadTokens;
  std::optional<std::int64_t> cacheCreationTokens;
  std::optional<std::int64_t> usedTokens;
  std::optional<std::int64_t> totalProcessedTokens;
  std::vector<MessageBlock> blocks;

  bool operator==(const AgentMessage&) const = default;
};

/// A run of consecutive tool calls, shown as one entry.
struct ToolInvocationGroup {
  std::vector<ToolInvocation> invocations;

  bool operator==(const ToolInvocationGroup&) const = default;
};

/// A marker that the agent compacted its context.
struct CompactionEvent {
  bool operator==(const CompactionEvent&) const = default;
};

/// A marker that a run failed; the item's text says why.
struct FailureEvent {
  bool operator==(const FailureEvent&) const = default;
};

/// One entry of a transcript: what every entry has, and the detail of its kind.
struct ConversationItem {
  /// In the order of `ConversationItemKind`.
  using Detail = std::variant<UserMessage, AgentMessage, ToolInvocationGroup, CompactionEvent, FailureEvent>;

  ConversationItemId id;
  ConversationId conversation;
  std::string rawJSON;  ///< the agent's own record, verbatim
  Timestamp createdAt;
  std::string text;
  Detail detail;

  bool operator==(const ConversationItem&) const = default;
};

enum class ConversationItemKind { userMessage, agentMessage, toolInvocationGroup, compactionEvent, failureEvent };

std::string_view rawValue(ConversationItemKind kind);
std::optional<ConversationItemKind> conversationItemKindFromRawValue(std::string_view text);
ConversationItemKind kindOf(const ConversationItem& item);

/// Whether the failure came when the prompt had finished, as that of a queue which could not go on behind it.
bool isBehindEnd(const ConversationItem& failure, const ConversationItem& prompt);

}  // namespace ravant
