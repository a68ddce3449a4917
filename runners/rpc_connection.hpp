#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "core/agent_runner_error.hpp"
#include "platform/async/signal.hpp"
#include "runners/json_rpc_peer.hpp"
#include "runners/shell_session.hpp"

namespace ravant {

/// What an agent says and asks on its own. Called on the runner's strand, in the order of the agent's lines. By itself
/// it takes nothing in and serves nothing.
class RpcListener {
 public:
  virtual ~RpcListener() = default;

  /// `line` is the agent's whole line.
  virtual void onNotification(const RpcNotification& /*notification*/, std::string_view /*line*/) {}
  /// What to answer.
  virtual RpcOutcome onRequest(const RpcRequest& /*request*/) {
    return RpcError{.code = kRpcMethodNotFound, .message = "Method not found"};
  }
  /// What has arrived together was handed over; no more is read until this has returned.
  virtual awaitable<void> onLinesTaken() { co_return; }
  /// The agent has ended or closed its output.
  virtual void onDisconnect(std::string_view /*standardError*/) {}
};

/// The program answered a request with an error: `rpc` of `AgentRunnerError`, and what it is made of.
class RpcRefusal : public AgentRunnerError {
 public:
  explicit RpcRefusal(RpcError error) : AgentRunnerError(rpc(error.message)), error_(std::move(error)) {}
  const RpcError& error() const { return error_; }

 private:
  RpcError error_;
};

/// A program that was started in the user's login shell and speaks JSON-RPC on its standard input and output.
///
/// Part of a runner, on the runner's strand. To be closed before the strand's executor ends.
class RpcConnection : public std::enable_shared_from_this<RpcConnection> {
 public:
  using Handshake = std::function<awaitable<void>()>;
  using OnResult = std::function<void(const json::object&)>;

  RpcConnection(any_io_executor strand, ShellOptions shell);

  /// Starts a login shell in the folder, has it replaced by the program, begins to read for `listener`, which is kept
  /// until the connection has ended, and runs `handshake`. `commandLine` is shell text. Throws `ShellStartError`,
  /// `std::system_error`, what the handshake throws, and `agentExitedSilently` of `AgentRunnerError`, with the
  /// program's words, where it cannot be started or ends in the handshake; the connection is closed then.
  awaitable<void> start(std::filesystem::path workingDirectory, std::string commandLine,
                        std::shared_ptr<RpcListener> listener, Handshake handshake);

  /// Returns the result once everything that arrived before it was taken by the listener. Throws `AgentRunnerError`:
  /// `RpcRefusal` with the agent's words, `notConnected`, or `processDied` where the connection ends meanwhile. Not to
  /// be awaited by the listener. `onResult` is called before what stands behind the result's line is handed to the
  /// listener.
  awaitable<json::object> request(std::string_view method, json::object params, OnResult onResult = {});
  /// The first request. Throws as `request`, and `AgentReportedError` where it is not answered within the limit: the
  /// program is ended then.
  awaitable<json::object> initialize(json::object params, std::chrono::milliseconds limit);
  /// Throws `notConnected`.
  void notify(std::string_view method, json::object params = {});

  bool isConnected() const { return isConnected_; }
  /// Connected to a program whose folder is there, not one that was made anew at its place.
  bool isUsable() { return isConnected_ && shell_.isUsableInItsFolder(); }
  /// As `ShellSession::drainStderr`.
  std::string drainStderr() { return shell_.drainStderr(); }

  /// As those of `ShellSession`.
  void leaveDetached() { shell_.leaveDetached(); }
  awaitable<void> endDetached();
  /// Ends the program and everything that it started but what was left, within 3 s.
  awaitable<void> close();

 private:
  struct Waiter {
    OnResult onResult;
    std::optional<RpcOutcome> outcome;
  };

  awaitable<void> replaceShell(std::string commandLine);
  void startReading(std::shared_ptr<RpcListener> listener);
  awaitable<void> read(std::shared_ptr<RpcListener> listener);
  awaitable<void> readLines(std::shared_ptr<RpcListener> listener);
  void take(const std::string& line, RpcListener& listener, std::vector<RpcReply>& replies);
  void announce(const RpcReply& reply);
  void write(std::string line);
  /// Ends the program where it asks without reading the answers.
  void answer(std::string line);
  void giveUp();
  awaitable<void> writeOutbox();

  any_io_executor strand_;
  ShellSession shell_;
  JsonRpcPeer peer_;
  Signal changed_;  ///< after any change of the state below
  std::map<RpcRequestId, std::shared_ptr<Waiter>> pending_;
  std::string outbox_;           ///< what the program has not begun to read
  std::size_t answerBytes_ = 0;  ///< of it, those that the program's own requests led to
  std::string lastWords_;        ///< on standard error, of a program that has ended
  bool isWriting_ = false;
  bool isGivenUp_ = false;
  bool isReading_ = false;
  bool isConnected_ = false;
};

}  // namespace ravant
