#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <deque>
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
    std::string model;                          ///< of the last prompt
    std::set<std::string> pastTurnIds;
    std::map<std::string, std::string> shownOutputs;  ///< as `CodexTurn` tells them, when the last prompt is not kept
    std::shared_ptr<Prompt> prompt;                   ///< in flight
    std::shared_ptr<Prompt> lastPrompt;               ///< takes in what the server says later
  };

  awaitable<void> runTurn(std::shared_ptr<Prompt> prompt);
  awaitable<void> followTurn(std::shared_ptr<Prompt> prompt);
  /// Throws as `RpcConnection::request`, and where the prompt is let go meanwhile: the answer is nobody's then.
  awaitable<json::object> ask(std::shared_ptr<Prompt> prompt, std::string_view method, json::object params,
                              RpcConnection::OnResult onResult = {});
  awaitable<void> ensureRunning(std::shared_ptr<Prompt> prompt);
  awaitable<void> startServer(std::shared_ptr<Prompt> prompt);
  static awaitable<void> initializeHandshake(std::shared_ptr<RpcConnection> connection,
                                             std::chrono::milliseconds limit);
  awaitable<std::string> ensureThread(std::shared_ptr<Prompt> prompt);
  /// Nothing where the server does not know the thread.
  awaitable<std::optional<std::string>> resumeThread(std::string existing, std::shared_ptr<Prompt> prompt);
  awaitable<std::string> startThread(std::shared_ptr<Prompt> prompt);
  /// Returns when the prompt's turn is over, or forgotten, or the server that did not end it is ended.
  awaitable<void> interrupt(std::shared_ptr<Prompt> prompt);
  void letGo(const std::shared_ptr<Prompt>& prompt);
  void startInterrupting(std::shared_ptr<Prompt> prompt, Signal::Deadline deadline);
  awaitable<void> askToInterrupt(std::shared_ptr<Prompt> prompt, Signal::Deadline deadline);
  bool isReady(const std::string& binaryPath) const;
  std::shared_ptr<Prompt> promptInFlight(ConversationId conversationId) const;
  bool isUsedByOthers(const std::shared_ptr<Prompt>& prompt) const;
  bool isWaitedFor(const std::shared_ptr<Prompt>& prompt) const;
  void onTurnStarted(const std::shared_ptr<Prompt>& prompt, const json::object& result);
  void take(const std::shared_ptr<Prompt>& prompt, std::vector<turn::Action> actions);

  void onNotification(const RpcNotification& notification, std::string_view line) override;
  RpcOutcome onRequest(const RpcRequest& request) override;
  awaitable<void> onLinesTaken() override;
  void onDisconnect(std::string_view standardError) override;

  std::shared_ptr<Prompt> routeConversation(const json::object& params);
  /// The conversation's last prompt, or one in its place that only takes in what comes late.
  std::shared_ptr<Prompt> promptFor(ConversationId conversation);
  /// Of the prompts that are over only the latest are kept.
  void keepForLater(ConversationId conversation);
  void tellLater(const std::shared_ptr<Prompt>& prompt);
  awaitable<void> tellUntold();
  awaitable<void> store(std::shared_ptr<Prompt> prompt);
  std::size_t promptsInFlight() const;
  bool isServerUsed() const;
  void endServerWhenIdle();

  std::shared_ptr<ModelContainer> modelContainer_;
  RpcRunnerOptions options_;
  Signal changed_;  ///< after any change of the state below
  std::shared_ptr<RpcConnection> connection_;
  std::string binaryPath_;           ///< what the connection was made for
  std::shared_ptr<Prompt> starter_;  ///< the prompt that starts the server
  bool hasLetGo_ = false;            ///< the server may still work for a prompt that was let go
  std::map<ConversationId, Session> sessions_;
  std::map<std::string, ConversationId> threadToConversation_;
  std::map<std::string, ConversationId> turnToConversation_;
  std::set<std::string> forgottenTurns_;         ///< of prompts that were let go
  std::deque<ConversationId> resting_;           ///< whose last prompts are over and kept; the latest at the back
  std::vector<std::shared_ptr<Prompt>> taken_;   ///< with news that are not stored yet
  std::vector<std::shared_ptr<Prompt>> untold_;  ///< with output that is not told yet
  asio::steady_timer idle_;
  asio::steady_timer untoldTimer_;
};

}  // namespace ravant
