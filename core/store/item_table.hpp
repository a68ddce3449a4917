#pragma once

#include <optional>
#include <string_view>

#include "core/conversation_item.hpp"
#include "core/store/conversation_table.hpp"
#include "core/transcript_action.hpp"

namespace ravant {

/// The statements that add entries to a transcript and finish its tool calls, for operations that
/// run in a transaction of their own.
class ItemTable {
 public:
  explicit ItemTable(StoreConnection& store);

  struct NewItem {
    ConversationRow conversation = {};
    ConversationItemKind kind;
    std::string_view rawJSON;
    std::string_view text;
    std::optional<std::string_view> agentModel = {};
    std::optional<std::string_view> providerMessageId = {};
  };
  /// The item stands behind every earlier one, also when the clock was set back meanwhile.
  ConversationItemId insert(const NewItem& item, Timestamp now);
  void insertBlock(ConversationItemId message, const MessageBlock& block);
  /// The conversation's last entry.
  std::optional<ConversationItemId> last(ConversationRow conversation);
  /// Whether it is a tool group and the conversation's last entry.
  bool isLastGroup(ConversationItemId id, ConversationRow conversation);

  struct NewInvocation {
    ConversationRow conversation = {};
    ConversationItemId group{0};
    std::string_view rawJSON;
    std::string_view text;
    std::string_view toolName;
    std::string_view toolCallId;
    std::optional<std::string_view> input;
    std::optional<std::string_view> output;
    ToolInvocationStatus status;
  };
  ToolInvocationId insert(const NewInvocation& invocation, Timestamp now);

  /// One that is still running before those that have ended.
  std::optional<ToolInvocationId> newestInvocation(ConversationRow conversation, std::string_view toolCallId);
  /// What is absent stays as it is.
  void update(ToolInvocationId id, const turn::UpdateToolInvocation& update);
  void complete(ToolInvocationId id, std::string_view output, Timestamp at);
  void fail(ToolInvocationId id, std::string_view output, Timestamp at);
  /// Fails it with the notice, behind the output that it has.
  void endUnfinished(ToolInvocationId id, std::string_view notice, Timestamp at);
  std::vector<ToolInvocationId> runningInvocations(ConversationRow conversation);
  std::optional<RunningInvocation> newestRunningInvocation(ConversationRow conversation);

  std::optional<ConversationItemId> latestMessage(ConversationRow conversation, std::string_view providerMessageId);
  void applyTokenUsage(ConversationItemId message, const TokenUsageSnapshot& snapshot);

 private:
  void finish(ToolInvocationId id, ToolInvocationStatus status, std::string_view output, Timestamp at);

  StoreConnection& store_;
  sqlite::Statement insertItem_;
  sqlite::Statement insertBlock_;
  sqlite::Statement last_;
  sqlite::Statement isLastGroup_;
  sqlite::Statement insertInvocation_;
  sqlite::Statement newestInvocation_;
  sqlite::Statement updateInvocation_;
  sqlite::Statement finishInvocation_;
  sqlite::Statement endUnfinished_;
  sqlite::Statement runningInvocations_;
  sqlite::Statement newestRunningInvocation_;
  sqlite::Statement latestMessage_;
  sqlite::Statement applyTokenUsage_;
};

}  // namespace ravant
