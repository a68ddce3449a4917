#pragma once

#include "core/conversation_item.hpp"
#include "core/store/conversation_table.hpp"

namespace ravant {

/// The statements that add whole items, for operations that run in a transaction of their own.
class ItemInsertion {
 public:
  explicit ItemInsertion(StoreConnection& store);

  /// Its own id, conversation and time are ignored.
  void insert(ConversationRow conversation, const ConversationItem& item, Timestamp at);

 private:
  void insertItem(ConversationRow conversation, const ConversationItem& item, Timestamp at, const UserMessage& prompt,
                  const AgentMessage& message);

  StoreConnection& store_;
  sqlite::Statement insertItem_;
  sqlite::Statement insertBlock_;
  sqlite::Statement insertInvocation_;
};

}  // namespace ravant
