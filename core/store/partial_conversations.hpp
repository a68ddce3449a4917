#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "core/store/conversation_table.hpp"

namespace ravant {

/// Conversations that are brought in by more than one transaction. Each is marked with the process that does it, and
/// is none for everybody else until the mark is taken off.
class UnfinishedImports {
 public:
  explicit UnfinishedImports(StoreConnection& store);

  /// For operations that run in a transaction of their own: puts this process's mark on, or takes it off.
  void mark(ConversationRow conversation);
  void unmark(ConversationRow conversation);
  /// One with this process's mark; nothing where it has gone with its project.
  std::optional<ConversationRow> find(ConversationId id);

  /// Operations by themselves, which let others write in between: remove what came of one that this process has marked,
  /// and of all whose process is dead.
  void remove(ConversationId id);
  void removeDead();

 private:
  std::optional<ConversationRow> find(ConversationId id, std::string_view owner);
  void remove(ConversationId id, std::string_view owner);
  /// False when nothing is left.
  bool removeSome(ConversationId id, std::string_view owner);

  StoreConnection& store_;
  ConversationTable conversations_;
  sqlite::Statement mark_;
  sqlite::Statement find_;
  sqlite::Statement all_;
};

/// `UnfinishedImports::removeDead` for the start of a program. Writes nothing, and waits for no writer, where there is
/// nothing to remove. Blocks. Throws `StoreError`.
void removeInterruptedImports(std::shared_ptr<ModelContainer> modelContainer);

}  // namespace ravant
