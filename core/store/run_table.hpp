#pragma once

#include <optional>
#include <set>
#include <string>

#include "core/store/item_table.hpp"
#include "core/store/unstored_ends.hpp"

namespace ravant {

/// The prompts in flight of all processes, and the repair of what a dead process left running.
/// For operations that run in a transaction of their own.
class RunTable {
 public:
  RunTable(StoreConnection& store, ItemTable& items);

  /// Marks a prompt of this process, and ends what an earlier one has left in the conversation. Throws
  /// `AgentRunnerError` `busy` when another living process has one there.
  void begin(ConversationId id, ConversationRow conversation, Changes& changes);

  /// The prompt that this process's mark is about.
  void setPrompt(ConversationRow conversation, ConversationItemId prompt);

  /// The process whose prompt is in flight in the conversation.
  std::optional<std::string> ownerOf(ConversationRow conversation);

  /// Takes this process's mark off and ends what still runs; not while another process has a prompt in flight.
  void end(ConversationId id, ConversationRow conversation, const RunEnd& how, Changes& changes);

  /// Ends every run whose process is dead: its running tool calls fail, and its prompt and a failure item say that
  /// the run was interrupted. Not those of the owners some of whose processes could not be ended.
  void endInterrupted(Changes& changes, const std::set<std::string>& stillRunning);

 private:
  void end(ConversationId id, ConversationRow conversation, const std::string& owner, const RunEnd& how,
           Changes& changes);
  void endInterrupted(ConversationId id, ConversationRow conversation, const std::string& owner, Changes& changes);

  StoreConnection& store_;
  ItemTable& items_;
  sqlite::Statement ownerOf_;
  sqlite::Statement insert_;
  sqlite::Statement remove_;
  sqlite::Statement setPrompt_;
  sqlite::Statement endPrompt_;
  sqlite::Statement all_;
};

/// Where the prompt of a mark runs: nowhere where it is over, or where its process is dead.
enum class RunStanding { here, elsewhere, over, interrupted };

/// Keeps what a prompt in flight writes to from being removed, for operations that run in a transaction of their own.
class LivingRuns {
 public:
  explicit LivingRuns(StoreConnection& store);

  /// Throw `InUseError` while a living process, this one or another, runs a prompt there. One of this process that is
  /// over runs no more, whether or not its end could be stored.
  void refuseRemoval(ConversationId id);
  void refuseRemoval(ProjectId id);

  /// Whether a living process other than this one runs a prompt in the conversation.
  bool isElsewhere(ConversationId id);

  /// Of the process's mark in the conversation. One of this process that is over stays where its end could not be
  /// stored.
  RunStanding standing(std::string_view owner, ConversationId id) const;

 private:
  /// Each with its owner and conversation.
  bool isOneAlive(sqlite::Query runs);

  const ProcessLedger& processes_;
  const UnstoredEnds& unstoredEnds_;
  sqlite::Statement ofConversation_;
  sqlite::Statement ofProject_;
};

/// `RunTable::endInterrupted` as an operation by itself, for the start of a program. Writes nothing, and waits for no
/// writer, where no run's process is dead. Blocks. Throws `StoreError`.
void endInterruptedRuns(std::shared_ptr<ModelContainer> modelContainer, const std::set<std::string>& stillRunning = {});

}  // namespace ravant
