#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include "core/agent_runner.hpp"
#include "runners/transcript_writer.hpp"

namespace ravant {

/// A prompt at an agent that outlives it. On its runner's strand.
struct RpcPrompt {
  RpcPrompt(AgentRunRequest asked, std::shared_ptr<ModelContainer> modelContainer)
      : request(std::move(asked)), writer(std::move(modelContainer), request.conversationId) {}

  /// Stores what was taken in. What that throws becomes `error`.
  awaitable<void> store();

  AgentRunRequest request;
  TranscriptWriter writer;
  std::vector<turn::Action> actions;  ///< taken in, not stored yet
  std::optional<TurnEnd> end;         ///< the turn is over, and everything before its end is stored
  std::exception_ptr error;           ///< while taking in or storing
  bool isCancelled = false;
};

}  // namespace ravant
