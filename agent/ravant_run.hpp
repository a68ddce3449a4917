#pragma once

#include <cstddef>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "agent/chat_turn.hpp"
#include "agent/ravant_message.hpp"
#include "agent/ravant_model.hpp"
#include "agent/ravant_runner_options.hpp"
#include "core/agent_runner.hpp"
#include "core/store/transcript_writer.hpp"

namespace ravant {

class RavantTools;

/// The messages sent in a conversation, and how many transcript entries they came from: another process can have added
/// some.
struct RavantMemory {
  std::vector<RavantMessage> messages;
  std::size_t entries = 0;
};

/// One prompt of the built-in agent. On one strand; it outlives its operation.
class RavantRun {
 public:
  /// `known` is what is remembered of the conversation.
  RavantRun(AgentRunRequest request, RavantMemory known, std::shared_ptr<ModelContainer> modelContainer,
            const RavantRunnerOptions& options, any_io_executor strand);
  ~RavantRun();

  /// Runs the prompt to its end; to be called once. Throws why it failed, but nothing where it was stopped.
  awaitable<void> perform();
  /// Ends what it waits for: `perform` returns soon.
  void stop();
  /// Ends what its commands left running; to be called when it is over.
  awaitable<void> endDetached();

  /// To be remembered afterwards.
  RavantMemory takeMemory() { return std::move(memory_); }

 private:
  /// What a model answered, as far as it came.
  struct Answer {
    ChatTurn turn;
    std::exception_ptr error = {};             ///< that cut it off
    std::optional<turn::Fail> objection = {};  ///< why it cannot count as whole
    bool isWhole() const { return !error && !objection; }
  };

  awaitable<void> turns();
  awaitable<void> recall();
  awaitable<void> prepare();
  awaitable<Answer> ask();
  awaitable<void> keep(Answer& answer);
  awaitable<void> callTools(ChatTurn turn);
  awaitable<void> callTool(RavantToolCall call, std::string raw);
  awaitable<void> fail(turn::Fail failure);
  bool isStopped() const { return stop_.stop_requested(); }
  void throwIfStopped() const;

  const AgentRunRequest request_;
  const RavantRunnerOptions& options_;
  const any_io_executor strand_;
  std::shared_ptr<ModelContainer> modelContainer_;
  TranscriptWriter writer_;
  RavantMemory memory_;
  std::stop_source stop_;

  // From `prepare` on.
  const RavantModel* model_ = nullptr;
  std::unique_ptr<ChatCompletionsClient> client_;
  std::unique_ptr<RavantTools> tools_;
};

}  // namespace ravant
