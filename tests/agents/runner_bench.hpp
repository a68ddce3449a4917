#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/agent_runner.hpp"
#include "runners/shell_session.hpp"
#include "tests/agents/fake_agent.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {

using MakeRunner =
    std::function<std::shared_ptr<AgentRunner>(std::shared_ptr<ModelContainer>, any_io_executor, ShellOptions)>;

/// One conversation of a real store and its runner, in real shells with a home folder of their own.
class RunnerBench {
 public:
  RunnerBench(AgentType type, MakeRunner makeRunner, std::string shell = "/bin/bash");
  /// Ends the runner's processes.
  ~RunnerBench();

  /// Another conversation of the same agent, in a project of its own.
  ConversationId addConversation();

  /// As a face asks: it resumes the session that the conversation has stored.
  AgentRunRequest request(std::string program, std::string prompt, std::optional<ConversationId> conversation = {});
  /// "finished" or "failed: " and the words of the failure.
  awaitable<std::string> outcomeOf(AgentRunRequest request);
  std::string send(std::string program, std::string prompt);
  awaitable<void> cancel(std::optional<ConversationId> conversation = {});
  awaitable<void> release();
  /// Deletes the conversation as no Ravant does while a prompt runs in it.
  void loseConversation();
  /// The same for one of several.
  void loseConversation(ConversationId conversation);
  /// As another process does between two prompts.
  void append(std::vector<TranscriptAction> actions);
  /// What is committed from now on, for the loop of `await`.
  awaitable<std::shared_ptr<ChangeSubscription>> subscribe();
  /// Returns when what was committed is announced.
  awaitable<void> flushChanges();
  /// How many changes of entities have been committed up to now.
  std::int64_t committedChanges();
  /// As the next start of the program has it.
  void replaceRunner();

  /// Returns once an item or a tool call has that text.
  awaitable<void> untilTranscriptHas(std::string text);
  std::string transcript();
  /// The text of each item.
  std::vector<std::string> texts(std::optional<ConversationId> conversation = {});
  /// How each prompt ended; "" where it is not known.
  std::vector<std::string> endReasons();
  bool hasRunningTool();

  template <class Result>
  Result await(awaitable<Result> operation) {
    return run(std::move(operation), loop_);
  }

  const TemporaryFolder& home() const { return home_; }
  std::filesystem::path project;  ///< where the agent runs; exists at first

 private:
  AgentType type_;
  MakeRunner makeRunner_;
  ShellOptions shell_;
  asio::io_context loop_;
  TemporaryFolder home_;
  TemporaryFolder data_;
  OpenStore store_{data_.path(), std::chrono::microseconds(1)};
  ConversationId conversation_;
  std::shared_ptr<AgentRunner> runner_;
};

/// Returns once none of the processes is alive.
awaitable<void> untilGone(std::vector<pid_t> processes);

/// Those of a fake agent's processes that are still alive; empty is what a test expects.
std::vector<pid_t> survivorsOf(const FakeAgent& agent);

}  // namespace ravant::test
