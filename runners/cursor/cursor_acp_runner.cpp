#include "runners/cursor/cursor_acp_runner.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <boost/asio/steady_timer.hpp>
#include <utility>
#include <vector>

#include "core/agent_runner_error.hpp"
#include "platform/async/side_by_side.hpp"
#include "platform/async/signal.hpp"
#include "platform/files/working_folder.hpp"
#include "platform/log/log.hpp"
#include "platform/text/utf8.hpp"
#include "runners/agent_json.hpp"
#include "runners/cursor/acp_command.hpp"
#include "runners/cursor/acp_turn.hpp"
#include "runners/rpc_connection.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CursorAcp");

// The slug that leaves the choice of the model to the agent.
constexpr std::string_view kAutomaticModel = "auto";

}  // namespace

struct CursorAcpRunner::Prompt : RpcPrompt {
  Prompt(AgentRunRequest asked, std::shared_ptr<ModelContainer> modelContainer, const AcpTurn* previous)
      : RpcPrompt(std::move(asked), std::move(modelContainer)), turn(request.model, previous) {}

  AcpTurn turn;
  bool isStopping = false;
};

/// The agent of one conversation.
class CursorAcpRunner::Connection final : public RpcListener, public std::enable_shared_from_this<Connection> {
 public:
  Connection(any_io_executor strand, RpcRunnerOptions options)
      : strand_(strand), options_(std::move(options)), changed_(strand), idle_(strand) {}

  const std::shared_ptr<Prompt>& prompt() const { return prompt_; }
  const AcpTurn* previousTurn() const { return lastPrompt_ ? &lastPrompt_->turn : nullptr; }
  void begin(std::shared_ptr<Prompt> prompt) {
    idle_.cancel();
    prompt_ = std::move(prompt);
    lastPrompt_ = prompt_;
  }
  void end() {
    prompt_.reset();
    changed_.notify();
    closeWhenIdle();
  }

  awaitable<void> ensureConnection();
  awaitable<void> chooseModelAndEffort();
  awaitable<void> ask();
  awaitable<void> cancel();
  awaitable<void> close();
  /// Ends what is left of an agent that has gone.
  awaitable<void> clearUp();
  void leaveDetached();

 private:
  awaitable<void> initializeHandshake();
  awaitable<void> loadOrCreateSession();
  awaitable<std::optional<json::object>> loadSession(std::string sessionId);
  awaitable<json::object> createSession();
  awaitable<void> setConfigOption(std::string id, std::string value);
  awaitable<void> stop(std::shared_ptr<Prompt> prompt);
  void closeWhenIdle();
  void keepConfigOptions(const json::object& params);
  void logStandardError(std::string_view text);

  void onNotification(const RpcNotification& notification, std::string_view line) override;
  RpcOutcome onRequest(const RpcRequest& request) override;
  awaitable<void> onLinesTaken() override;
  void onDisconnect(std::string_view standardError) override;

  any_io_executor strand_;
  RpcRunnerOptions options_;
  Signal changed_;  ///< after any change of the state below
  std::shared_ptr<RpcConnection> rpc_;
  std::string commandLine_;  ///< what the agent was started with
  std::optional<std::string> acpSessionId_;
  bool isSessionLive_ = false;
  bool isReplaying_ = false;  ///< the agent repeats a session's history
  std::vector<acp::ConfigOption> configOptions_;
  std::map<std::string, std::string> chosen_;  ///< the options that were set, by their ids
  std::string authenticationFailure_;
  std::shared_ptr<Prompt> prompt_;      ///< in flight
  std::shared_ptr<Prompt> lastPrompt_;  ///< takes in what the agent says later
  asio::steady_timer idle_;
};

CursorAcpRunner::CursorAcpRunner(std::shared_ptr<ModelContainer> modelContainer, RpcRunnerOptions options)
    : Actor(options.io), modelContainer_(std::move(modelContainer)), options_(std::move(options)) {}

CursorAcpRunner::~CursorAcpRunner() = default;

std::shared_ptr<CursorAcpRunner::Connection> CursorAcpRunner::connectionOf(ConversationId conversationId) {
  auto& connection = connections_[conversationId];
  if (!connection) connection = std::make_shared<Connection>(strand(), options_);
  return connection;
}

awaitable<void> CursorAcpRunner::send(AgentRunRequest request) {
  return onActor([this, request = std::move(request)]() mutable -> awaitable<void> {
    const auto connection = connectionOf(request.conversationId);
    if (connection->prompt()) throw AgentRunnerError(AgentRunnerError::Case::busy);
    const auto prompt = std::make_shared<Prompt>(std::move(request), modelContainer_, connection->previousTurn());
    connection->begin(prompt);
    std::exception_ptr error;
    try {
      co_await prompt->writer.record(
          prompt->request.prompt, AgentType::cursor, [prompt] { return prompt->isCancelled; },
          [&] { return runTurn(connection, prompt); });
    } catch (...) {
      error = std::current_exception();
    }
    connection->end();
    if (error) std::rethrow_exception(error);
  });
}

awaitable<void> CursorAcpRunner::runTurn(std::shared_ptr<Connection> connection, std::shared_ptr<Prompt> prompt) {
  expectFolder(prompt->request.workingDirectory);
  std::exception_ptr error;
  try {
    co_await connection->ensureConnection();
    if (!prompt->isCancelled) co_await connection->chooseModelAndEffort();
    if (!prompt->isCancelled) co_await connection->ask();
  } catch (...) {
    error = std::current_exception();
  }
  std::ranges::move(prompt->turn.flushMessageBuffer(), std::back_inserter(prompt->actions));
  co_await prompt->store();
  if (!prompt->isCancelled) connection->leaveDetached();
  co_await connection->clearUp();
  if (prompt->error) std::rethrow_exception(prompt->error);
  if (error) std::rethrow_exception(error);
  if (prompt->end && prompt->end->failure) throw AgentReportedError(*prompt->end->failure);
}

awaitable<void> CursorAcpRunner::cancel(ConversationId conversationId) {
  return onActor([this, conversationId]() -> awaitable<void> {
    const auto connection = connections_.find(conversationId);
    if (connection != connections_.end()) co_await connection->second->cancel();
  });
}

awaitable<void> CursorAcpRunner::shutdown() {
  return onActor([this]() -> awaitable<void> {
    std::vector<awaitable<void>> ends;
    for (const auto& [id, connection] : connections_) ends.push_back(connection->close());
    co_await sideBySide(std::move(ends));
  });
}

awaitable<void> CursorAcpRunner::Connection::ensureConnection() {
  const auto prompt = prompt_;
  const std::string commandLine = acpCommandLine(prompt->request.binaryPath, prompt->request.arguments);
  if (rpc_ && rpc_->isConnected() && isSessionLive_ && commandLine == commandLine_) co_return;
  if (rpc_) co_await rpc_->close();
  if (prompt->isCancelled) co_return;

  const auto rpc = std::make_shared<RpcConnection>(strand_, options_.shell);
  rpc_ = rpc;
  commandLine_ = commandLine;
  configOptions_.clear();
  chosen_.clear();
  co_await rpc->start(prompt->request.workingDirectory, commandLine, shared_from_this(), [this]() -> awaitable<void> {
    co_await initializeHandshake();
    co_await loadOrCreateSession();
  });
}

awaitable<void> CursorAcpRunner::Connection::initializeHandshake() {
  authenticationFailure_.clear();
  const json::object initialized = co_await rpc_->initialize(acp::initializeParams(), options_.shell.startLimit);
  try {
    co_await rpc_->request("authenticate", {{"methodId", acp::authMethod(initialized)}});
  } catch (const AgentRunnerError& refused) {
    if (refused.kind() != AgentRunnerError::Case::rpc) throw;
    // Many agents work without; one that does not says so when a session is to begin.
    authenticationFailure_ = refused.what();
    kLog.info("the agent refused to authenticate");
  }
}

awaitable<void> CursorAcpRunner::Connection::loadOrCreateSession() {
  const auto prompt = prompt_;
  auto sessionId = acpSessionId_ ? acpSessionId_ : prompt->request.resumedSessionId;
  std::optional<json::object> result;
  if (sessionId) result = co_await loadSession(*sessionId);
  if (sessionId && !result) co_await prompt->writer.loseSession();
  if (!result) {
    result = co_await createSession();
    sessionId = optionalTextAt(*result, "sessionId");
    if (!sessionId) throw AgentRunnerError::rpc("session/new: missing sessionId");
  }
  acpSessionId_ = sessionId;
  isSessionLive_ = rpc_->isConnected();
  keepConfigOptions(*result);
  if (prompt->request.resumedSessionId != sessionId) co_await prompt->writer.store({turn::SetSession{sessionId}});
}

awaitable<std::optional<json::object>> CursorAcpRunner::Connection::loadSession(std::string sessionId) {
  const std::string folder = prompt_->request.workingDirectory.string();
  std::optional<json::object> result;
  isReplaying_ = true;
  try {
    result = co_await rpc_->request("session/load", acp::sessionParams(sessionId, folder));
  } catch (const AgentRunnerError& error) {
    if (error.kind() != AgentRunnerError::Case::rpc) throw;
    kLog.warning("a session could not be loaded: {}", error.what());
  }
  isReplaying_ = false;
  co_return result;
}

awaitable<json::object> CursorAcpRunner::Connection::createSession() {
  const std::string folder = prompt_->request.workingDirectory.string();
  acpSessionId_.reset();
  std::string failure;
  try {
    co_return co_await rpc_->request("session/new", acp::sessionParams(std::nullopt, folder));
  } catch (const AgentRunnerError& error) {
    if (error.kind() != AgentRunnerError::Case::rpc || authenticationFailure_.empty()) throw;
    failure = error.what();
  }
  throw AgentReportedError(fmt::format("{}; authenticate: {}", failure, authenticationFailure_));
}

awaitable<void> CursorAcpRunner::Connection::chooseModelAndEffort() {
  const AgentRunRequest& request = prompt_->request;
  if (!request.model.empty()) {
    const acp::ConfigOption* option = acp::modelOption(configOptions_);
    const bool isOffered = option != nullptr;
    const auto match = option ? acp::matchOptionValue(*option, request.model) : std::nullopt;
    // An agent that does not know the word has its own choice anyway.
    if (match || !isOffered || request.model != kAutomaticModel) {
      try {
        co_await setConfigOption(option ? option->id : "model", match.value_or(request.model));
      } catch (const AgentRunnerError& error) {
        if (isOffered || error.kind() != AgentRunnerError::Case::rpc) throw;
        kLog.warning("the agent lets no model be chosen: {}", error.what());
      }
    }
  }
  if (!request.effort) co_return;
  const acp::ConfigOption* option = acp::effortOption(configOptions_);
  const auto match = option ? acp::matchOptionValue(*option, *request.effort) : std::nullopt;
  if (match) {
    co_await setConfigOption(option->id, *match);
  } else {
    kLog.warning("the agent does not offer the effort {}", *request.effort);
  }
}

awaitable<void> CursorAcpRunner::Connection::setConfigOption(std::string id, std::string value) {
  const auto option = std::ranges::find(configOptions_, id, &acp::ConfigOption::id);
  const bool isSet = option != configOptions_.end() && option->currentValue == value;
  if (const auto chosen = chosen_.find(id); isSet && chosen != chosen_.end() && chosen->second == value) co_return;
  const json::object result =
      co_await rpc_->request("session/set_config_option", acp::setConfigOptionParams(*acpSessionId_, id, value));
  chosen_.insert_or_assign(std::move(id), std::move(value));
  keepConfigOptions(result);
}

awaitable<void> CursorAcpRunner::Connection::ask() {
  const auto prompt = prompt_;
  co_await rpc_->request("session/prompt", acp::promptParams(*acpSessionId_, repairUtf8(prompt->request.prompt)),
                         [prompt](const json::object& result) {
                           std::ranges::move(prompt->turn.onPromptEnd(acp::parsePromptEnd(result)),
                                             std::back_inserter(prompt->actions));
                         });
}

awaitable<void> CursorAcpRunner::Connection::clearUp() {
  if (!rpc_) co_return;
  if (rpc_->isConnected()) {
    logStandardError(rpc_->drainStderr());
  } else {
    co_await rpc_->close();
  }
}

awaitable<void> CursorAcpRunner::Connection::cancel() {
  const auto self = shared_from_this();
  const auto prompt = prompt_;
  if (!prompt) co_return;
  prompt->isCancelled = true;
  co_await stop(prompt);
  while (prompt_ == prompt) co_await changed_.wait();
  if (const auto rpc = rpc_; rpc && !prompt_) co_await rpc->endDetached();
}

void CursorAcpRunner::Connection::leaveDetached() {
  if (rpc_) rpc_->leaveDetached();
}

awaitable<void> CursorAcpRunner::Connection::stop(std::shared_ptr<Prompt> prompt) {
  const auto self = shared_from_this();
  const auto rpc = rpc_;
  if (!rpc) co_return;
  if (rpc->isConnected() && isSessionLive_) {
    rpc->notify("session/cancel", {{"sessionId", *acpSessionId_}});
    const auto deadline = std::chrono::steady_clock::now() + options_.cancelLimit;
    while (prompt_ == prompt && std::chrono::steady_clock::now() < deadline) co_await changed_.wait(deadline);
    if (prompt_ == prompt) kLog.warning("the agent did not end a cancelled prompt and is ended itself");
  }
  if (prompt_ == prompt) co_await rpc->close();
}

awaitable<void> CursorAcpRunner::Connection::close() {
  const auto self = shared_from_this();
  idle_.cancel();
  if (prompt_) prompt_->isCancelled = true;
  leaveDetached();
  if (rpc_) co_await rpc_->close();
  while (prompt_) co_await changed_.wait();
  // One that was being started meanwhile.
  if (rpc_) co_await rpc_->close();
}

void CursorAcpRunner::Connection::closeWhenIdle() {
  if (!rpc_ || !rpc_->isConnected()) return;
  idle_.expires_after(options_.idleLimit);
  idle_.async_wait([weak = weak_from_this()](boost::system::error_code error) {
    const auto self = weak.lock();
    if (error || !self || self->prompt_ || !self->rpc_) return;
    kLog.info("the agent is ended after idle time");
    asio::co_spawn(self->strand_, [rpc = self->rpc_] { return rpc->close(); }, [](std::exception_ptr) {});
  });
}

void CursorAcpRunner::Connection::keepConfigOptions(const json::object& params) {
  if (auto options = acp::configOptions(params)) configOptions_ = *std::move(options);
}

void CursorAcpRunner::Connection::logStandardError(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    kLog.debug("CursorAcp[stderr]: {}", text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

void CursorAcpRunner::Connection::onNotification(const RpcNotification& notification, std::string_view line) {
  const json::object* told = objectAt(notification.params, "update");
  if (notification.method != "session/update" || !told) return;
  const auto session = stringAt(notification.params, "sessionId");
  if (session && acpSessionId_ && *session != *acpSessionId_) return;
  const auto prompt = lastPrompt_;
  try {
    const acp::Update update = acp::parseUpdate(*told);
    if (const auto* change = std::get_if<acp::ConfigChange>(&update)) configOptions_ = change->options;
    if (!prompt || isReplaying_) return;
    std::ranges::move(prompt->turn.ingest(update, line), std::back_inserter(prompt->actions));
  } catch (const std::exception& error) {
    kLog.error("an update could not be taken in: {}", error.what());
    if (prompt) prompt->error = std::current_exception();
  }
}

RpcOutcome CursorAcpRunner::Connection::onRequest(const RpcRequest& request) {
  if (request.method == "session/request_permission") {
    const bool isWanted = prompt_ && !prompt_->isCancelled;
    return isWanted ? acp::permissionGranted(request.params) : acp::permissionCancelled();
  }
  kLog.debug("CursorAcp unhandled request {}", request.method);
  return RpcError{.code = kRpcMethodNotFound, .message = "Method not found"};
}

awaitable<void> CursorAcpRunner::Connection::onLinesTaken() {
  const auto prompt = lastPrompt_;
  if (!prompt) co_return;
  // Nothing follows that would end a message behind the end of its prompt.
  if (prompt->end || prompt_ != prompt) {
    std::ranges::move(prompt->turn.flushMessageBuffer(), std::back_inserter(prompt->actions));
  }
  co_await prompt->store();
  if (!prompt->error || prompt_ != prompt || std::exchange(prompt->isStopping, true)) co_return;
  // Nothing more of it can be kept.
  asio::co_spawn(
      strand_, [self = shared_from_this(), prompt] { return self->stop(prompt); }, [](std::exception_ptr) {});
}

void CursorAcpRunner::Connection::onDisconnect(std::string_view standardError) {
  logStandardError(standardError);
  isSessionLive_ = false;
  isReplaying_ = false;
  lastPrompt_ = prompt_;
  changed_.notify();
}

}  // namespace ravant
