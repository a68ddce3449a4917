#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/agent_runner.hpp"
#include "core/id.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "runners/agent_turn.hpp"
#include "runners/rpc_connection.hpp"

namespace ravant {

struct CodexRunnerOptions {
  any_io_executor io;
  ShellOptions shell;
  /// How long a cancelled turn may take to end before the server is ended.
  std::chrono::milliseconds interruptLimit{3'000};
  /// How long the server is kept while nothing runs.
  std::chrono::milliseconds idleLimit{std::chrono::minutes(30)};
};

/// Runs the prompts of all conversations over one app-server of Codex: a conversation is one of its threads, a prompt
/// one of its turns. The server is started when it is first needed, and anew when it has died or another program is
/// configured.
class CodexAppServerRunner final : public Actor, public AgentRunner, private RpcListener {
 public:
  CodexAppServerRunner(std::shared_ptr<ModelContainer> modelContainer, CodexRunnerOptions options);
  ~CodexAppServerRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 private:
  struct Prompt;
  /// A conversation on the server.
  struct Session {
    std::optional<std::string> providerThreadId;
    bool isThreadLive = false;           ///< the server that runs knows the thread
    std::shared_ptr<Prompt> prompt;      ///< in flight
    std::shared_ptr<Prompt> lastPrompt;  ///< takes in what the server says later
  };

  awaitable<void> runTurn(std::shared_ptr<Prompt> prompt);
  awaitable<void> followTurn(std::shared_ptr<Prompt> prompt);
  awaitable<void> ensureRunning(std::shared_ptr<Prompt> prompt);
  awaitable<void> startServer(std::shared_ptr<Prompt> prompt);
  awaitable<void> initializeHandshake();
  awaitable<std::string> ensureThread(std::shared_ptr<Prompt> prompt);
  awaitable<std::string> resumeOrStartThread(std::optional<std::string> existing, std::shared_ptr<Prompt> prompt);
  awaitable<std::string> startThread(std::shared_ptr<Prompt> prompt);
  awaitable<void> interrupt(std::shared_ptr<Prompt> prompt);
  void onTurnStarted(const std::shared_ptr<Prompt>& prompt, const json::object& result);
  void take(const std::shared_ptr<Prompt>& prompt, std::vector<turn::Action> actions);

  void onNotification(const RpcNotification& notification, std::string_view line) override;
  RpcOutcome onRequest(const RpcRequest& request) override;
  awaitable<void> onLinesTaken() override;
  void onDisconnect(std::string standardError) override;

  std::shared_ptr<Prompt> routeConversation(const json::object& params);
  awaitable<void> store(std::shared_ptr<Prompt> prompt);
  std::size_t promptsInFlight() const;
  void endServerWhenIdle();

  std::shared_ptr<ModelContainer> modelContainer_;
  CodexRunnerOptions options_;
  Signal changed_;  ///< after any change of the state below
  std::shared_ptr<RpcConnection> connection_;
  std::string binaryPath_;      ///< what the connection was made for
  std::string startComplaint_;  ///< the last words of a server that has ended
  bool isStarting_ = false;
  std::map<ConversationId, Session> sessions_;
  std::map<std::string, ConversationId> threadToConversation_;
  std::map<std::string, ConversationId> turnToConversation_;
  std::vector<std::shared_ptr<Prompt>> taken_;  ///< with actions that are not stored yet
  asio::steady_timer idle_;
};

}  // namespace ravant
