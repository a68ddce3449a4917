#pragma once

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/agent_runner_error.hpp"
#include "runners/rpc_connection.hpp"

namespace ravant {

/// How long an agent may take for what comes before a prompt.
struct AcpLimits {
  std::chrono::milliseconds start{30'000};                    ///< to answer at all
  std::chrono::milliseconds login{std::chrono::minutes(10)};  ///< the user may log in in a browser meanwhile
  std::chrono::milliseconds answer{std::chrono::minutes(2)};
};

/// What an agent of the Agent Client Protocol is asked before a prompt.
///
/// On the connection's strand. All operations throw what `RpcConnection::request` throws, and where a limit is reached
/// `AgentReportedError`, which says what was waited for: the agent is ended then. Where a login was refused, the
/// failure of a session tells of it too.
class AcpAgent {
 public:
  AcpAgent(any_io_executor strand, std::shared_ptr<RpcConnection> connection, AcpLimits limits);

  awaitable<void> initialize();
  /// Many agents work without a login: one that is refused is no failure by itself.
  awaitable<void> authenticate();

  /// Answers with the session's `sessionId`.
  awaitable<json::object> createSession(std::string folder);
  /// Nothing where the agent says that it does not know the session.
  awaitable<std::optional<json::object>> loadSession(std::string sessionId, std::string folder);
  awaitable<json::object> setConfigOption(std::string sessionId, std::string configId, std::string value);

 private:
  awaitable<json::object> ask(std::string_view method, json::object params, std::chrono::milliseconds limit);
  std::exception_ptr withLoginFailure(const AgentRunnerError& error) const;

  any_io_executor strand_;
  std::shared_ptr<RpcConnection> connection_;
  AcpLimits limits_;
  std::string authMethod_;
  std::string loginFailure_;
};

}  // namespace ravant
