#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/id.hpp"
#include "core/run_state.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "core/turn_action.hpp"

namespace ravant {

/// What stands in the place of a tool's result that never came.
inline constexpr std::string_view kCancelledTool = "Cancelled before the tool had a result.";
inline constexpr std::string_view kUnfinishedTool = "The agent's turn ended before the tool had a result.";

/// How an agent's turn ended, in its own words.
struct TurnEnd {
  std::optional<std::string> failure;
  FailureCause cause = FailureCause::error;  ///< of the failure
};

/// Writes one turn into the store: the one way by which runners write transcripts. All throw
/// `StoreError`.
class TranscriptWriter {
 public:
  TranscriptWriter(std::shared_ptr<ModelContainer> modelContainer, ConversationId conversationId);

  /// Keeps the prompt, runs the turn, and ends its record with how it ended, whatever that is. Throws what the turn
  /// throws, `busy` of `AgentRunnerError` where another process runs one in the conversation, and
  /// `ConversationGoneError` where it is unknown; nothing where `isCancelled` in the end. A queued prompt is taken out
  /// of the queue when it is kept; where that cannot be, or another process runs one, `QueuedPromptNotSentError` is
  /// thrown.
  awaitable<void> record(std::string prompt, AgentType agent, std::function<bool()> isCancelled,
                         std::function<awaitable<void>()> turn, PromptChoice choice = {});

  /// All of the actions are stored when this returns, or none of them. Says whether the turn is over by them. Throws
  /// `ConversationGoneError`.
  awaitable<std::optional<TurnEnd>> perform(std::vector<turn::Action> actions);
  awaitable<void> store(std::vector<TranscriptAction> actions);

  /// Announces, while the prompt is in flight, what the run does or waits for from now on. That the agent thinks, runs
  /// a tool or will be asked again is announced by itself, from what is recorded, performed and stored.
  awaitable<void> announce(RunState::Kind kind);

  /// The agent no longer knows the session that it was to resume: the transcript says so, and `successor`, where there
  /// is one by now, is kept in its place.
  awaitable<void> loseSession(std::optional<std::string> successor = {});

  /// Finishes what a turn that had ended before has left running since.
  awaitable<void> endLate();

 private:
  /// Marks the run and keeps the prompt.
  awaitable<void> begin(std::string prompt, AgentType agent, PromptChoice choice);
  /// Throws as `record`.
  awaitable<void> markBegun(std::optional<QueuedPrompt> queued);
  /// Takes the mark off; tool calls without a result fail with `unfinishedToolOutput`. Throws `ConversationGoneError`.
  awaitable<void> end(std::string_view unfinishedToolOutput, std::optional<PromptOutcome> outcome);

  /// What the agent said or did says that it no longer waits.
  awaitable<void> announceWork();
  awaitable<void> announceState(RunState state);
  awaitable<void> announceGrowths(std::vector<Growth> growths);

  ConversationId conversationId_;
  std::shared_ptr<ModelContainer> modelContainer_;
  std::shared_ptr<ConversationItemModelActor> items_;
  bool isInFlight_ = false;
  std::optional<RunState> state_;            ///< the one announced last
  std::optional<FailureCause> turnFailure_;  ///< of the turn that ended last, where it failed
};

}  // namespace ravant
