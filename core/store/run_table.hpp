#pragma once

#include <string_view>

#include "core/store/item_table.hpp"

namespace ravant {

/// The prompts in flight of all processes, and the repair of what a dead process left running.
/// For operations that run in a transaction of their own.
class RunTable {
 public:
  RunTable(StoreConnection& store, ItemTable& items);

  /// Marks a prompt of this process. Throws `AgentRunnerError` `busy` when another living process
  /// has one in the conversation.
  void begin(ConversationId id, ConversationRow conversation, Changes& changes);

  /// The process whose prompt is in flight in the conversation.
  std::optional<std::string> ownerOf(ConversationRow conversation);

  /// Takes this process's mark off and fails the tool calls that still run, with
  /// `unfinishedToolOutput`; not while another process has a prompt in flight.
  void end(ConversationId id, ConversationRow conversation, std::string_view unfinishedToolOutput, Changes& changes);

  /// Ends every run whose process is dead: its running tool calls fail, and a failure item says that
  /// the run was interrupted.
  void endInterrupted(Changes& changes);

 private:
  void end(ConversationId id, ConversationRow conversation, const std::string& owner,
           std::string_view unfinishedToolOutput, Changes& changes);
  void endInterrupted(ConversationId id, ConversationRow conversation, const std::string& owner, Changes& changes);

  StoreConnection& store_;
  ItemTable& items_;
  sqlite::Statement ownerOf_;
  sqlite::Statement insert_;
  sqlite::Statement remove_;
  sqlite::Statement all_;
};

/// Keeps what a prompt in flight writes to from being removed, for operations that run in a transaction of their own.
class LivingRuns {
 public:
  explicit LivingRuns(StoreConnection& store);

  /// Throw `InUseError` while a living process, this one or another, runs a prompt there.
  void refuseRemoval(ConversationId id);
  void refuseRemoval(ProjectId id);

 private:
  bool isOneAlive(sqlite::Query owners);

  const ProcessLedger& processes_;
  sqlite::Statement ofConversation_;
  sqlite::Statement ofProject_;
};

/// `RunTable::endInterrupted` as an operation by itself, for the start of a program. Blocks. Throws
/// `StoreError`.
void endInterruptedRuns(std::shared_ptr<ModelContainer> modelContainer);

}  // namespace ravant
