#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/agent_runner.hpp"
#include "core/agent_type.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "runners/agent_turn.hpp"
#include "runners/shell_session.hpp"

namespace ravant {

struct AgentCommand;

struct ShellRunnerOptions {
  any_io_executor io;
  ShellOptions shell;
  /// How long the end of a command is waited for once its turn is over.
  std::chrono::milliseconds commandEndLimit{3'000};
  /// How long a shell is kept while nothing runs in it.
  std::chrono::milliseconds idleLimit{std::chrono::minutes(30)};
};

/// Runs the turns of one conversation with an agent's command line, in a login shell that is kept
/// between turns for a time. What is particular to the agent is its `AgentTurn`.
///
/// The command is read to its end even when the agent's turn is over before that: what comes late is
/// written into the turn it belongs to, and the next turn begins behind it.
class ShellRunner : public Actor, public AgentRunner {
 public:
  ShellRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer, ShellRunnerOptions options);
  ~ShellRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> release(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 protected:
  /// The state machine of one turn, given what earlier turns learnt.
  virtual std::unique_ptr<AgentTurn> makeTurn(std::optional<std::string> resumedSessionId,
                                              std::optional<std::int64_t> contextWindow) = 0;

 private:
  struct Prompt;
  struct Command;

  awaitable<void> runTurn(std::shared_ptr<Prompt> prompt);
  /// The request's session is the conversation's stored one. It is resumed where another program began it; the
  /// runner's own is newer where it has been through that one.
  void chooseSession(AgentRunRequest& request);
  void setSession(std::optional<std::string> sessionId);
  awaitable<void> prepareShell(std::shared_ptr<Prompt> prompt);
  awaitable<std::shared_ptr<Command>> startCommand(std::shared_ptr<Prompt> prompt, AgentCommand line);
  awaitable<void> onSilentEnd(std::shared_ptr<Command> command);
  void startReading(std::shared_ptr<Command> command);
  awaitable<void> readCommand(std::shared_ptr<Command> command);
  awaitable<void> readLines(std::shared_ptr<Command> command);
  awaitable<void> perform(std::shared_ptr<Command> command, std::vector<turn::Action> actions);
  awaitable<void> awaitCommandEnd(std::chrono::milliseconds limit);
  void refuseUnfitPrompt(const AgentCommand& command) const;
  awaitable<void> stopSending();
  awaitable<void> stop();
  bool isIdle() const { return !prompt_ && !command_; }
  void endShellWhenIdle();
  awaitable<void> endIdleShell();

  AgentType type_;
  std::shared_ptr<ModelContainer> modelContainer_;
  ShellRunnerOptions options_;
  ShellSession shell_;
  Signal changed_;                    ///< after any change of the state below
  std::shared_ptr<Prompt> prompt_;    ///< the one that is being sent
  std::shared_ptr<Command> command_;  ///< the one in the shell, until it has ended
  asio::steady_timer idle_;
  std::optional<std::string> resumedSessionId_;
  std::set<std::string> pastSessionIds_;  ///< and the one above
  std::optional<std::int64_t> lastKnownContextWindow_;
};

}  // namespace ravant
