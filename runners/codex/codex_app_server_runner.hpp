#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/agent_runner.hpp"
#include "core/id.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "runners/agent_turn.hpp"
#include "runners/rpc_connection.hpp"
#include "runners/rpc_prompt.hpp"

namespace ravant {

/// Runs the prompts of all conversations over one app-server of Codex: a conversation is one of its threads, a prompt
/// one of its turns. The server is started when it is first needed, and anew when it has died or when a prompt for
/// another program comes while it rests.
class CodexAppServerRunner final : public Actor, public AgentRunner, private RpcListener {
 public:
  CodexAppServerRunner(std::shared_ptr<ModelContainer> modelContainer, RpcRunnerOptions options);
  ~CodexAppServerRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 private:
  struct Prompt;
  /// A conversation on the server.
  struct Session {
    std::optional<std::string> providerThreadId;
    std::weak_ptr<RpcConnection> threadServer;  ///< the server that knows the thread
    std::set<std::string> pastTurnIds;
    std::shared_ptr<Prompt> prompt;      ///< in flight
    std::shared_ptr<Prompt> lastPrompt;  ///< takes in what the server says later
  };

  awaitable<void> runTurn(std::shared_ptr<Prompt> prompt);
  awaitable<void> followTurn(std::shared_ptr<Prompt> prompt);
  awaitable<void> ensureRunning(std::shared_ptr<Prompt> prompt);
  awaitable<void> startServer(std::shared_ptr<Prompt> prompt);
  static awaitable<void> initializeHandshake(std::shared_ptr<RpcConnection> connection,
                                             std::chrono::milliseconds limit);
  awaitable<std::string> ensureThread(std::shared_ptr<Prompt> prompt);
  /// Nothing where the server does not know the thread.
  awaitable<std::optional<std::string>> resumeThread(std::string existing, std::shared_ptr<Prompt> prompt);
  awaitable<std::string> startThread(std::shared_ptr<Prompt> prompt);
  awaitable<void> interrupt(std::shared_ptr<Prompt> prompt);
  awaitable<void> askToInterrupt(std::shared_ptr<Prompt> prompt, Signal::Deadline deadline);
  bool isReady(const std::string& binaryPath) const;
  bool isWaitedFor(const std::shared_ptr<Prompt>& prompt) const;
  void onTurnStarted(const std::shared_ptr<Prompt>& prompt, const json::object& result);
  void take(const std::shared_ptr<Prompt>& prompt, std::vector<turn::Action> actions);

  void onNotification(const RpcNotification& notification, std::string_view line) override;
  RpcOutcome onRequest(const RpcRequest& request) override;
  awaitable<void> onLinesTaken() override;
  void onDisconnect(std::string_view standardError) override;

  std::shared_ptr<Prompt> routeConversation(const json::object& params);
  awaitable<void> store(std::shared_ptr<Prompt> prompt);
  std::size_t promptsInFlight() const;
  bool isServerUsed() const;
  void endServerWhenIdle();

  std::shared_ptr<ModelContainer> modelContainer_;
  RpcRunnerOptions options_;
  Signal changed_;  ///< after any change of the state below
  std::shared_ptr<RpcConnection> connection_;
  std::string binaryPath_;  ///< what the connection was made for
  bool isStarting_ = false;
  std::map<ConversationId, Session> sessions_;
  std::map<std::string, ConversationId> threadToConversation_;
  std::map<std::string, ConversationId> turnToConversation_;
  std::vector<std::shared_ptr<Prompt>> taken_;  ///< with news that are not stored yet
  asio::steady_timer idle_;
};

}  // namespace ravant
