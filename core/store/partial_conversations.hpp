#pragma once

#include <optional>
#include <string_view>

#include "core/store/conversation_table.hpp"

namespace ravant {

/// Conversations that are brought in or removed by more than one transaction. Each is marked with the process that does
/// it (`importer`), and is none for everybody else: until the mark is taken off, or for good.
class PartialConversations {
 public:
  explicit PartialConversations(StoreConnection& store);

  /// For operations that run in a transaction of their own: puts this process's mark on, or takes it off.
  void mark(ConversationRow conversation);
  void unmark(ConversationRow conversation);
  /// One with this process's mark; nothing where it has gone with its project.
  std::optional<ConversationRow> find(ConversationId id);
  /// How much one transaction removes: what its turn allows, or so little that its log has room on a full disk.
  enum class Amount { turn, little };
  /// Removes so much. Where something is left, the conversation is marked, for `remove`.
  bool beginRemoval(ConversationRow conversation, Amount amount);

  /// Operations by themselves, which let others write in between. `remove`: what is left of one that this process has
  /// marked, on a full disk too. `removeDead`: all whose process is dead; what cannot be removed stays for the next
  /// time.
  void remove(ConversationId id);
  void removeDead();

 private:
  std::optional<ConversationRow> find(ConversationId id, std::string_view owner);
  void remove(ConversationId id, std::string_view owner);
  /// False when nothing is left.
  bool removeSome(ConversationId id, std::string_view owner, Amount amount);
  bool removeSome(ConversationRow conversation, Amount amount);

  StoreConnection& store_;
  ConversationTable conversations_;
  sqlite::Statement mark_;
  sqlite::Statement find_;
  sqlite::Statement all_;
};

}  // namespace ravant
