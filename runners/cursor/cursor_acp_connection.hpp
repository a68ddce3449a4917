#pragma once

#include <boost/asio/steady_timer.hpp>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/async/signal.hpp"
#include "runners/cursor/acp_agent.hpp"
#include "runners/cursor/acp_session_options.hpp"
#include "runners/cursor/cursor_acp_prompt.hpp"

namespace ravant {

/// The agent's process for one conversation, and its session. On the runner's strand.
class CursorAcpRunner::Connection final : public RpcListener, public std::enable_shared_from_this<Connection> {
 public:
  Connection(any_io_executor strand, RpcRunnerOptions options, AcpLimits limits);

  bool isBusy() const { return prompt_ != nullptr; }
  std::shared_ptr<Prompt> begin(AgentRunRequest request, std::shared_ptr<ModelContainer> modelContainer);
  void end();
  /// Returns when what the agent said after the prompt before has been stored.
  awaitable<void> settle();

  /// Leaves a running agent with the prompt's session.
  awaitable<void> ensureConnection();
  awaitable<void> chooseModelAndEffort();
  /// Returns when the agent has answered the prompt.
  awaitable<void> ask();
  /// Ends what is left of an agent that has gone.
  awaitable<void> clearUp();
  /// As that of `ShellSession`.
  void leaveDetached();

  awaitable<void> cancel();
  awaitable<void> close();

 private:
  /// On the agent's process: none yet, one whose history the agent repeats, or one that can be asked.
  enum class Session { none, replaying, live };

  awaitable<void> initializeHandshake();
  awaitable<void> loadOrCreateSession();
  awaitable<std::optional<json::object>> loadSession(std::string sessionId);
  awaitable<void> choose(std::optional<AcpSessionOptions::Choice> choice);
  void keepOptions(const json::object& told);
  awaitable<void> stop(std::shared_ptr<Prompt> prompt);
  void closeWhenIdle();

  void onNotification(const RpcNotification& notification, std::string_view line) override;
  RpcOutcome onRequest(const RpcRequest& request) override;
  awaitable<void> onLinesTaken() override;
  void onDisconnect(std::string_view standardError) override;

  any_io_executor strand_;
  RpcRunnerOptions options_;
  AcpLimits limits_;
  Signal changed_;  ///< after any change of the state below
  std::shared_ptr<RpcConnection> rpc_;
  std::shared_ptr<AcpAgent> agent_;
  std::string commandLine_;  ///< what the agent was started with
  std::optional<std::string> acpSessionId_;
  Session session_ = Session::none;
  AcpSessionOptions sessionOptions_;
  std::shared_ptr<Prompt> prompt_;      ///< in flight
  std::shared_ptr<Prompt> lastPrompt_;  ///< takes in what the agent says later
  std::shared_ptr<Prompt> storing_;     ///< what the agent said in this one
  asio::steady_timer idle_;
};

}  // namespace ravant
