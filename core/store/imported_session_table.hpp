#pragma once

#include "core/store/conversation_table.hpp"
#include "core/store/transcript_import.hpp"

namespace ravant {

/// The sessions that conversations hold and how far each was read, for operations that run in a transaction of their
/// own.
class ImportedSessionTable {
 public:
  explicit ImportedSessionTable(StoreConnection& store);

  /// Whether conversations count that are not whole yet (see `PartialConversations`).
  enum class Unfinished { skipped, included };
  /// The conversation that holds the session, imported or run here.
  std::optional<KnownSession> find(AgentType agent, std::string_view sessionId, Unfinished unfinished);

  /// Takes the mark of `beginAdding` off.
  void keep(ConversationRow conversation, const ImportedSession& session);

  /// What is new is added by more than one transaction: this process's mark says so.
  void beginAdding(ConversationRow conversation);
  /// Whether another living process adds what is new.
  bool isAddedToElsewhere(ConversationRow conversation);

 private:
  StoreConnection& store_;
  sqlite::Statement imported_;
  sqlite::Statement own_;
  sqlite::Statement keep_;
  sqlite::Statement mark_;
  sqlite::Statement adder_;
};

}  // namespace ravant
