#pragma once

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include "core/agent_runner.hpp"
#include "core/store/transcript_writer.hpp"
#include "runners/shell_session.hpp"

namespace ravant {

/// Of runners whose agent is a server.
struct RpcRunnerOptions {
  any_io_executor io;
  ShellOptions shell;
  /// How long a cancelled prompt may take to end before the agent is ended.
  std::chrono::milliseconds cancelLimit{3'000};
  /// How long an agent is kept while nothing runs in it.
  std::chrono::milliseconds idleLimit{std::chrono::minutes(30)};
};

/// A prompt at an agent that outlives it. On its runner's strand.
struct RpcPrompt {
  RpcPrompt(AgentRunRequest asked, std::shared_ptr<ModelContainer> modelContainer)
      : request(std::move(asked)), writer(std::move(modelContainer), request.conversationId) {}

  /// Stores what was taken in. What that throws becomes `error`.
  awaitable<void> store();

  AgentRunRequest request;
  TranscriptWriter writer;
  std::vector<turn::Action> actions;  ///< taken in, not stored yet
  std::optional<TurnEnd> end;         ///< the turn is over, and its end stored
  std::exception_ptr error;           ///< while taking in or storing
  bool isCancelled = false;
};

}  // namespace ravant
