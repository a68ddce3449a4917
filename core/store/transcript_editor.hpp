#pragma once

#include <map>
#include <optional>
#include <string_view>

#include "core/store/conversation_table.hpp"
#include "core/store/item_table.hpp"
#include "core/transcript_action.hpp"

namespace ravant {

/// Adds to transcripts and finishes what was added, for operations that run in a transaction of their own.
class TranscriptEditor {
 public:
  TranscriptEditor(StoreConnection& store, ConversationTable& conversations, ItemTable& items);

  /// The conversation that an operation writes to, and what the operation changed.
  struct Target {
    ConversationId id;
    ConversationRow row;
    Changes& changes;
  };

  /// What an operation did to its conversation, the least first.
  enum class Effect { none, change, activity };

  ConversationItemId append(const ItemTable::NewItem& item, const Target& target);

  /// Does what the action says. A tool call goes into the group that this object opened and nothing stands behind, or
  /// opens one.
  Effect apply(const TranscriptAction& action, const Target& target);

  /// The next tool call opens a group.
  void forgetToolGroup(ConversationId id) { openToolGroupByConversation_.erase(id); }

  /// What the log says of an action in an unknown conversation, in front of the conversation's id.
  static std::string_view wordsForUnknown(const TranscriptAction& action);

 private:
  Effect perform(const turn::AppendAgentMessage& message, const Target& target);
  Effect perform(const turn::AppendCompactionEvent& compaction, const Target& target);
  Effect perform(const turn::AppendToolInvocation& call, const Target& target);
  Effect perform(const turn::UpdateToolInvocation& update, const Target& target);
  Effect perform(const turn::CompleteToolInvocation& result, const Target& target);
  Effect perform(const turn::ApplyUsage& usage, const Target& target);
  Effect perform(const turn::ApplyContextWindow& window, const Target& target);
  Effect perform(const turn::ApplyContextUse& use, const Target& target);
  Effect perform(const turn::SetSession& session, const Target& target);

  ConversationItemId openToolGroup(const Target& target);
  std::optional<ToolInvocationId> knownInvocation(std::string_view operation, std::string_view toolCallId,
                                                  const Target& target);

  StoreConnection& store_;
  ConversationTable& conversations_;
  ItemTable& items_;
  std::map<ConversationId, ConversationItemId> openToolGroupByConversation_;
};

}  // namespace ravant
