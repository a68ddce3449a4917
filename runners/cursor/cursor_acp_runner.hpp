#pragma once

#include <map>
#include <memory>

#include "core/agent_runner.hpp"
#include "core/id.hpp"
#include "platform/async/actor.hpp"
#include "runners/cursor/acp_agent.hpp"
#include "runners/rpc_prompt.hpp"

namespace ravant {

/// Runs prompts with Cursor, or with any other agent of the Agent Client Protocol: one agent process for each
/// conversation, started when it is first needed and kept between prompts.
class CursorAcpRunner final : public Actor, public AgentRunner {
 public:
  CursorAcpRunner(std::shared_ptr<ModelContainer> modelContainer, RpcRunnerOptions options, AcpLimits limits = {});
  ~CursorAcpRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> release(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 private:
  struct Prompt;
  class Connection;

  std::shared_ptr<Connection> connectionOf(ConversationId conversationId);
  /// Returns when the agent that was released is gone.
  awaitable<void> untilReleased(ConversationId conversationId);
  awaitable<void> runTurn(std::shared_ptr<Connection> connection, std::shared_ptr<Prompt> prompt);

  std::shared_ptr<ModelContainer> modelContainer_;
  RpcRunnerOptions options_;
  AcpLimits limits_;
  std::map<ConversationId, std::shared_ptr<Connection>> connections_;
  std::map<ConversationId, std::shared_ptr<Connection>> released_;  ///< whose agents are being ended
};

}  // namespace ravant
