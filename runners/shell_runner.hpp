#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/agent_runner.hpp"
#include "core/agent_type.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "runners/agent_turn.hpp"
#include "runners/shell_session.hpp"

namespace ravant {

struct AgentCommand;
class TranscriptWriter;

struct ShellRunnerOptions {
  any_io_executor io;
  ShellOptions shell;
  /// How long the end of a command is waited for once its turn is over.
  std::chrono::milliseconds commandEndLimit{3'000};
};

/// Runs the turns of one conversation with an agent's command line, in a login shell that is kept
/// between turns. What is particular to the agent is its `AgentTurn`.
///
/// The command is read to its end even when the agent's turn is over before that: what comes late is
/// written into the turn it belongs to, and the next turn begins behind it.
class ShellRunner : public Actor, public AgentRunner {
 public:
  ShellRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer, ShellRunnerOptions options);
  ~ShellRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 protected:
  /// The state machine of one turn, given what earlier turns learnt.
  virtual std::unique_ptr<AgentTurn> makeTurn(std::optional<std::string> resumedSessionId,
                                              std::optional<std::int64_t> contextWindow) = 0;

  /// Whether an agent that ended without a word complains in `standardError` that it does not know the session it was
  /// to resume. The session is forgotten then and the prompt given once more.
  virtual bool isUnknownSession(std::string_view /*standardError*/) const { return false; }

 private:
  struct Command;

  awaitable<void> runTurn(AgentRunRequest request, std::shared_ptr<TranscriptWriter> writer);
  void startReading(std::shared_ptr<Command> command);
  awaitable<void> readCommand(std::shared_ptr<Command> command);
  awaitable<void> readLines(std::shared_ptr<Command> command);
  awaitable<void> perform(std::shared_ptr<Command> command, std::vector<turn::Action> actions);
  awaitable<void> awaitCommandEnd(std::chrono::milliseconds limit);
  void refuseUnfitPrompt(const AgentCommand& command) const;
  awaitable<void> stopSending();
  awaitable<void> stop();

  AgentType type_;
  std::shared_ptr<ModelContainer> modelContainer_;
  ShellRunnerOptions options_;
  ShellSession shell_;
  Signal changed_;                    ///< after any change of the state below
  std::shared_ptr<Command> command_;  ///< the one in the shell, until it has ended
  bool isSending_ = false;
  bool isCancelled_ = false;
  std::uint64_t sends_ = 0;
  std::optional<std::string> resumedSessionId_;
  std::optional<std::int64_t> lastKnownContextWindow_;
};

}  // namespace ravant
