#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/agent_runner.hpp"
#include "core/id.hpp"
#include "platform/async/actor.hpp"
#include "runners/rpc_connection.hpp"

namespace ravant {

struct CursorRunnerOptions {
  any_io_executor io;
  ShellOptions shell;
  /// How long a cancelled prompt may take to end before the agent is ended.
  std::chrono::milliseconds cancelLimit{3'000};
  /// How long an agent is kept while its conversation rests.
  std::chrono::milliseconds idleLimit{std::chrono::minutes(30)};
};

/// Runs prompts with Cursor, or with any other agent of the Agent Client Protocol: one agent process for each
/// conversation, started when it is first needed and kept between prompts.
class CursorAcpRunner final : public Actor, public AgentRunner {
 public:
  CursorAcpRunner(std::shared_ptr<ModelContainer> modelContainer, CursorRunnerOptions options);
  ~CursorAcpRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 private:
  struct Prompt;
  class Connection;

  std::shared_ptr<Connection> connectionOf(ConversationId conversationId);
  awaitable<void> runTurn(std::shared_ptr<Connection> connection, std::shared_ptr<Prompt> prompt);

  std::shared_ptr<ModelContainer> modelContainer_;
  CursorRunnerOptions options_;
  std::map<ConversationId, std::shared_ptr<Connection>> connections_;
};

}  // namespace ravant
