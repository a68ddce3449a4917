#include "runners/cursor/acp_agent.hpp"

#include <fmt/format.h>

#include <boost/asio/steady_timer.hpp>
#include <utility>

#include "platform/log/log.hpp"
#include "runners/cursor/acp_unknown_session.hpp"
#include "runners/cursor/acp_wire.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CursorAcp");
constexpr std::string_view kAuthenticate = "authenticate";

std::string overdueWords(std::string_view method, std::chrono::milliseconds limit) {
  const auto seconds = std::chrono::duration<double>(limit).count();
  if (method == kAuthenticate) {
    return fmt::format("the agent was waiting for a login ({}) for more than {} s; log in with its own program", method,
                       seconds);
  }
  return fmt::format("the agent did not answer {} within {} s", method, seconds);
}

}  // namespace

AcpAgent::AcpAgent(any_io_executor strand, std::shared_ptr<RpcConnection> connection, AcpLimits limits)
    : strand_(strand), connection_(std::move(connection)), limits_(limits) {}

awaitable<void> AcpAgent::initialize() {
  authMethod_ = acp::authMethod(co_await connection_->initialize(acp::initializeParams(), limits_.start));
}

awaitable<void> AcpAgent::authenticate() {
  try {
    co_await ask(kAuthenticate, acp::authenticateParams(authMethod_), limits_.login);
  } catch (const AgentRunnerError& refused) {
    if (refused.kind() != AgentRunnerError::Case::rpc) throw;
    loginFailure_ = refused.what();
    kLog.info("the agent refused to authenticate");
  }
}

awaitable<json::object> AcpAgent::createSession(std::string folder) {
  std::exception_ptr failure;
  json::object session;
  try {
    session = co_await ask("session/new", acp::sessionParams(std::nullopt, folder), limits_.answer);
  } catch (const AgentRunnerError& error) {
    failure = withLoginFailure(error);
  }
  if (failure) std::rethrow_exception(failure);
  if (!acp::sessionIdOf(session)) throw AgentRunnerError::rpc("session/new: missing sessionId");
  co_return session;
}

awaitable<std::optional<json::object>> AcpAgent::loadSession(std::string sessionId, std::string folder) {
  std::exception_ptr failure;
  try {
    co_return co_await ask("session/load", acp::sessionParams(sessionId, folder), limits_.answer);
  } catch (const RpcRefusal& refusal) {
    if (acp::saysUnknownSession(refusal.error(), sessionId)) {
      kLog.warning("a session is no longer known: {}", refusal.what());
      co_return std::nullopt;
    }
    failure = withLoginFailure(refusal);
  }
  std::rethrow_exception(failure);
}

awaitable<json::object> AcpAgent::setConfigOption(std::string sessionId, std::string configId, std::string value) {
  return ask("session/set_config_option", acp::setConfigOptionParams(sessionId, configId, value), limits_.answer);
}

std::exception_ptr AcpAgent::withLoginFailure(const AgentRunnerError& error) const {
  if (error.kind() != AgentRunnerError::Case::rpc || loginFailure_.empty()) return std::current_exception();
  return std::make_exception_ptr(AgentReportedError(fmt::format("{}; authenticate: {}", error.what(), loginFailure_)));
}

awaitable<json::object> AcpAgent::ask(std::string_view method, json::object params, std::chrono::milliseconds limit) {
  const auto isOverdue = std::make_shared<bool>(false);
  asio::steady_timer timer(strand_, limit);
  timer.async_wait([strand = strand_, connection = connection_, isOverdue](boost::system::error_code cancelled) {
    if (cancelled) return;
    *isOverdue = true;
    asio::co_spawn(strand, [connection] { return connection->close(); }, [](std::exception_ptr) {});
  });
  std::exception_ptr failure;
  json::object result;
  try {
    result = co_await connection_->request(method, std::move(params));
  } catch (...) {
    failure = std::current_exception();
  }
  timer.cancel();
  if (*isOverdue) throw AgentReportedError(overdueWords(method, limit));
  if (failure) std::rethrow_exception(failure);
  co_return result;
}

}  // namespace ravant
