#include "runners/rpc_connection.hpp"

#include <fmt/format.h>

#include <boost/asio/steady_timer.hpp>
#include <system_error>
#include <utility>
#include <vector>

#include "core/agent_runner_error.hpp"
#include "core/overloaded.hpp"
#include "platform/log/log.hpp"
#include "platform/process/shell_quoted.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "RpcConnection");
constexpr std::string_view kGivenUp = "the agent was ended: it does not read what it is sent";
constexpr std::size_t kTogether = 512 * 1024;         // bytes of lines
constexpr std::size_t kMostUnread = 4 * 1024 * 1024;  // bytes of answers that wait for the program to read them

}  // namespace

RpcConnection::RpcConnection(any_io_executor strand, ShellOptions shell)
    : strand_(strand), shell_(strand, std::move(shell)), changed_(strand) {}

awaitable<void> RpcConnection::start(std::filesystem::path workingDirectory, std::string commandLine,
                                     std::shared_ptr<RpcListener> listener, Handshake handshake) {
  const auto self = shared_from_this();
  std::exception_ptr error;
  bool hasEnded = false;
  try {
    co_await shell_.startShell(std::move(workingDirectory));
    co_await replaceShell(std::move(commandLine));
    startReading(std::move(listener));
    co_await handshake();
  } catch (const AgentRunnerError& failure) {
    error = std::current_exception();
    hasEnded =
        failure.kind() == AgentRunnerError::Case::processDied || failure.kind() == AgentRunnerError::Case::notConnected;
  } catch (...) {
    error = std::current_exception();
  }
  if (!error) co_return;
  co_await close();
  if (hasEnded) throw AgentRunnerError::agentExitedSilently(lastWords_);
  std::rethrow_exception(error);
}

void RpcConnection::startReading(std::shared_ptr<RpcListener> listener) {
  isConnected_ = true;
  isReading_ = true;
  asio::co_spawn(
      strand_, [self = shared_from_this(), listener = std::move(listener)] { return self->read(listener); },
      [self = shared_from_this()](std::exception_ptr) {
        self->isReading_ = false;
        self->changed_.notify();
      });
}

// Lines for the program must never reach a shell, which would run them. So a second shell, which reads no input, stands
// between the two: its word tells that the login shell is gone, and it ends if the program cannot be started.
awaitable<void> RpcConnection::replaceShell(std::string commandLine) {
  const std::string marker = fmt::format("__RAVANT_EXEC_{}__", Uuid::random().upperText());
  const std::string script = fmt::format("echo {}; exec \"$0\" \"$@\"", marker);
  co_await shell_.writeStdin(fmt::format("exec /bin/sh -c {} {}\n", shellQuoted(script), commandLine));
  for (;;) {
    const auto line = co_await shell_.readLine();
    if (!line) throw AgentRunnerError::agentExitedSilently(shell_.drainStderr());
    if (line->ends_with(marker)) co_return;
  }
}

awaitable<json::object> RpcConnection::request(std::string_view method, json::object params, OnResult onResult) {
  const auto self = shared_from_this();
  if (!isConnected_) throw AgentRunnerError(AgentRunnerError::Case::notConnected);
  auto [id, line] = peer_.request(method, std::move(params));
  const auto waiter = std::make_shared<Waiter>(Waiter{.onResult = std::move(onResult), .outcome = {}});
  pending_.emplace(id, waiter);
  write(std::move(line));
  while (!waiter->outcome && isConnected_) co_await changed_.wait();
  pending_.erase(id);

  if (!waiter->outcome) throw AgentRunnerError(AgentRunnerError::Case::processDied);
  if (const auto* error = std::get_if<RpcError>(&*waiter->outcome)) throw RpcRefusal(*error);
  co_return std::get<json::object>(std::move(*waiter->outcome));
}

awaitable<json::object> RpcConnection::initialize(json::object params, std::chrono::milliseconds limit) {
  const auto self = shared_from_this();
  const auto hasTimedOut = std::make_shared<bool>(false);
  asio::steady_timer timer(strand_, limit);
  timer.async_wait([self, hasTimedOut](boost::system::error_code cancelled) {
    if (cancelled) return;
    *hasTimedOut = true;
    asio::co_spawn(self->strand_, [self] { return self->shell_.shutdown(); }, [](std::exception_ptr) {});
  });
  std::exception_ptr error;
  json::object result;
  try {
    result = co_await request("initialize", std::move(params));
  } catch (...) {
    error = std::current_exception();
  }
  timer.cancel();
  if (*hasTimedOut) {
    throw AgentReportedError(
        fmt::format("the agent did not answer within {} s; is it the right program, with the right arguments?",
                    std::chrono::duration<double>(limit).count()));
  }
  if (error) std::rethrow_exception(error);
  co_return result;
}

void RpcConnection::notify(std::string_view method, json::object params) {
  if (!isConnected_) throw AgentRunnerError(AgentRunnerError::Case::notConnected);
  write(JsonRpcPeer::notification(method, std::move(params)));
}

awaitable<void> RpcConnection::endDetached() {
  const auto self = shared_from_this();
  if (isConnected_) co_await shell_.endDetached();
}

awaitable<void> RpcConnection::close() {
  const auto self = shared_from_this();
  co_await shell_.shutdown();
  while (isReading_) co_await changed_.wait();
}

awaitable<void> RpcConnection::read(std::shared_ptr<RpcListener> listener) {
  bool hasFailed = false;
  try {
    co_await readLines(listener);
  } catch (const std::exception& error) {
    kLog.error("an agent's lines could not be read: {}", error.what());
    hasFailed = true;
  }
  if (hasFailed) co_await shell_.shutdown();
  isConnected_ = false;
  lastWords_ = shell_.drainStderr();
  if (isGivenUp_) lastWords_ += kGivenUp;
  listener->onDisconnect(lastWords_);
  changed_.notify();
}

awaitable<void> RpcConnection::readLines(std::shared_ptr<RpcListener> listener) {
  while (auto line = co_await shell_.readLine()) {
    std::vector<RpcReply> replies;
    std::size_t bytes = 0;
    do {
      take(*line, *listener, replies);
      bytes += line->size();
      line = shell_.tryReadLine();
      // Through a flood of several conversations, each needs a share worth storing.
      while (!line && bytes < kTogether && shell_.readMore()) line = shell_.tryReadLine();
    } while (line);
    co_await listener->onLinesTaken();
    for (RpcReply& reply : replies) {
      const auto waiter = pending_.find(reply.request);
      if (waiter != pending_.end()) waiter->second->outcome = std::move(reply.outcome);
    }
    if (!replies.empty()) changed_.notify();
  }
}

void RpcConnection::take(const std::string& line, RpcListener& listener, std::vector<RpcReply>& replies) {
  for (RpcMessage& message : peer_.onLine(line)) {
    std::visit(Overloaded{[&](RpcReply& reply) {
                            announce(reply);
                            replies.push_back(std::move(reply));
                          },
                          [&](const RpcNotification& notification) { listener.onNotification(notification, line); },
                          [&](const RpcRequest& request) {
                            answer(JsonRpcPeer::response(request.id, listener.onRequest(request)));
                          }},
               message);
  }
}

void RpcConnection::announce(const RpcReply& reply) {
  const auto waiter = pending_.find(reply.request);
  const auto* result = std::get_if<json::object>(&reply.outcome);
  if (result && waiter != pending_.end() && waiter->second->onResult) waiter->second->onResult(*result);
}

void RpcConnection::write(std::string line) {
  outbox_ += line;
  if (std::exchange(isWriting_, true)) return;
  asio::co_spawn(strand_, [self = shared_from_this()] { return self->writeOutbox(); }, [](std::exception_ptr) {});
}

void RpcConnection::answer(std::string line) {
  if (answerBytes_ > kMostUnread) return giveUp();
  answerBytes_ += line.size();
  write(std::move(line));
}

void RpcConnection::giveUp() {
  if (std::exchange(isGivenUp_, true)) return;
  kLog.error("{}", kGivenUp);
  asio::co_spawn(strand_, [self = shared_from_this()] { return self->close(); }, [](std::exception_ptr) {});
}

awaitable<void> RpcConnection::writeOutbox() {
  bool isBroken = false;
  try {
    while (!outbox_.empty()) {
      answerBytes_ = 0;
      co_await shell_.writeStdin(std::exchange(outbox_, {}));
    }
  } catch (const std::system_error& error) {
    kLog.error("nothing more can be written to the agent: {}", error.what());
    isBroken = true;
  }
  isWriting_ = false;
  // An agent that does not listen will not answer either.
  if (isBroken) co_await close();
}

}  // namespace ravant
