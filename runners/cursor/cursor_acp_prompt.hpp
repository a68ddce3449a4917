#pragma once

#include <memory>
#include <vector>

#include "runners/cursor/acp_turn.hpp"
#include "runners/cursor/cursor_acp_runner.hpp"

namespace ravant {

/// A prompt at an agent of the Agent Client Protocol. On the runner's strand.
struct CursorAcpRunner::Prompt : RpcPrompt {
  /// Whether it runs, is being ended since nothing more of it can be kept, or is over: what the agent says then is
  /// late.
  enum class Stage { running, stopping, over };

  Prompt(AgentRunRequest asked, std::shared_ptr<ModelContainer> modelContainer, const AcpTurn* previous)
      : RpcPrompt(std::move(asked), std::move(modelContainer)), turn(request.model, previous) {}

  void take(std::vector<turn::Action> told);
  /// Stores what was taken in. A call that began late is ended, for its turn has been.
  awaitable<void> storeTaken();

  AcpTurn turn;
  Stage stage = Stage::running;
};

}  // namespace ravant
