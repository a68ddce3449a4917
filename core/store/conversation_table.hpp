#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/conversation.hpp"
#include "core/store/store_connection.hpp"
#include "core/token_usage_snapshot.hpp"

namespace ravant {

/// A conversation's place in the store, for rows that refer to it.
enum class ConversationRow : std::int64_t {};

constexpr std::int64_t bound(ConversationRow row) { return static_cast<std::int64_t>(row); }

/// The statements that change one conversation, for the store actors' operations.
class ConversationTable {
 public:
  explicit ConversationTable(StoreConnection& store);

  /// Nothing where it is not whole yet, like everywhere (see `PartialConversations`).
  std::optional<ConversationRow> find(ConversationId id);
  void touchLastActivity(ConversationRow row, Timestamp now);
  /// A prompt is an activity too.
  void touchLastPrompt(ConversationRow row, Timestamp now);
  void updateTokenUsage(ConversationRow row, const TokenUsageSnapshot& snapshot, Timestamp now);
  void updateContextWindow(ConversationRow row, std::int64_t maxTokens, Timestamp now);
  void updateContextUse(ConversationRow row, std::int64_t usedTokens, Timestamp now);
  void updateResumedSessionId(ConversationRow row, const std::optional<std::string>& sessionId);
  void updateLastPromptSettings(ConversationRow row, std::string_view modelId,
                                const std::optional<std::string>& effort);
  /// The item and those that were added before it count as looked at. False where they did already, and where the item
  /// is not of the conversation.
  bool look(ConversationRow row, ConversationItemId upTo);
  void setArchived(ConversationRow row, bool archived);
  void rename(ConversationRow row, const std::optional<std::string>& title);
  void remove(ConversationRow row);
  /// The latest hundred; false when there are none.
  bool removeSomeItems(ConversationRow row);

 private:
  sqlite::Statement find_;
  sqlite::Statement touchLastActivity_;
  sqlite::Statement touchLastPrompt_;
  sqlite::Statement updateTokenUsage_;
  sqlite::Statement updateContextWindow_;
  sqlite::Statement updateContextUse_;
  sqlite::Statement updateResumedSessionId_;
  sqlite::Statement updateLastPromptSettings_;
  sqlite::Statement look_;
  sqlite::Statement setArchived_;
  sqlite::Statement rename_;
  sqlite::Statement remove_;
  sqlite::Statement removeSomeItems_;
};

}  // namespace ravant
