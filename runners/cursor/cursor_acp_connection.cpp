#include "runners/cursor/cursor_acp_connection.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "core/agent_runner_error.hpp"
#include "platform/log/log.hpp"
#include "platform/text/utf8.hpp"
#include "runners/agent_json.hpp"
#include "runners/cursor/acp_command.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CursorAcp");

void logStandardError(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    kLog.debug("CursorAcp[stderr]: {}", text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

CursorAcpRunner::Connection::Connection(any_io_executor strand, RpcRunnerOptions options, AcpLimits limits)
    : strand_(strand), options_(std::move(options)), limits_(limits), changed_(strand), idle_(strand) {
  limits_.start = options_.shell.startLimit;
}

std::shared_ptr<CursorAcpRunner::Prompt> CursorAcpRunner::Connection::begin(
    AgentRunRequest request, std::shared_ptr<ModelContainer> modelContainer) {
  idle_.cancel();
  const AcpTurn* previous = lastPrompt_ ? &lastPrompt_->turn : nullptr;
  prompt_ = std::make_shared<Prompt>(std::move(request), std::move(modelContainer), previous);
  lastPrompt_ = prompt_;
  return prompt_;
}

void CursorAcpRunner::Connection::end() {
  prompt_.reset();
  changed_.notify();
  closeWhenIdle();
}

awaitable<void> CursorAcpRunner::Connection::settle() {
  while (storing_ && storing_ != prompt_) co_await changed_.wait();
}

awaitable<void> CursorAcpRunner::Connection::ensureConnection() {
  const auto prompt = prompt_;
  const std::string commandLine = acpCommandLine(prompt->request.binaryPath, prompt->request.arguments);
  if (rpc_ && rpc_->isUsable() && session_ == Session::live && commandLine == commandLine_) co_return;
  if (rpc_) co_await rpc_->close();
  co_await prompt->writer.announce(RunState::Kind::waitingForShell);
  // From here to the start nothing is awaited: a cancel that comes later finds what it is to end.
  if (prompt->isCancelled) co_return;

  const auto rpc = std::make_shared<RpcConnection>(strand_, options_.shell);
  rpc_ = rpc;
  agent_ = std::make_shared<AcpAgent>(strand_, rpc, limits_);
  commandLine_ = commandLine;
  sessionOptions_ = {};
  co_await rpc->start(prompt->request.workingDirectory, commandLine, shared_from_this(), [this]() -> awaitable<void> {
    co_await initializeHandshake();
    co_await loadOrCreateSession();
  });
}

awaitable<void> CursorAcpRunner::Connection::initializeHandshake() {
  const auto agent = agent_;
  co_await agent->initialize();
  co_await prompt_->writer.announce(RunState::Kind::waitingForLogin);
  co_await agent->authenticate();
  co_await prompt_->writer.announce(RunState::Kind::thinking);
}

awaitable<void> CursorAcpRunner::Connection::loadOrCreateSession() {
  const auto prompt = prompt_;
  const auto agent = agent_;
  const auto known = acpSessionId_ ? acpSessionId_ : prompt->request.resumedSessionId;
  acpSessionId_ = known;
  std::optional<json::object> session;
  if (known) session = co_await loadSession(*known);
  const bool isLost = known && !session;
  if (!session) {
    session = co_await agent->createSession(prompt->request.workingDirectory.string());
    acpSessionId_ = acp::sessionIdOf(*session);
  }
  session_ = rpc_->isConnected() ? Session::live : Session::none;
  keepOptions(*session);
  if (isLost) {
    co_await prompt->writer.loseSession(acpSessionId_);
  } else if (prompt->request.resumedSessionId != acpSessionId_) {
    co_await prompt->writer.store({turn::SetSession{acpSessionId_}});
  }
}

awaitable<std::optional<json::object>> CursorAcpRunner::Connection::loadSession(std::string sessionId) {
  const auto agent = agent_;
  std::exception_ptr failure;
  std::optional<json::object> session;
  session_ = Session::replaying;
  try {
    session = co_await agent->loadSession(sessionId, prompt_->request.workingDirectory.string());
  } catch (...) {
    failure = std::current_exception();
  }
  session_ = Session::none;
  if (failure) std::rethrow_exception(failure);
  co_return session;
}

awaitable<void> CursorAcpRunner::Connection::chooseModelAndEffort() {
  const AgentRunRequest& request = prompt_->request;
  co_await choose(sessionOptions_.forModel(request.model));
  if (request.effort && !prompt_->isCancelled) co_await choose(sessionOptions_.forEffort(*request.effort));
}

awaitable<void> CursorAcpRunner::Connection::choose(std::optional<AcpSessionOptions::Choice> choice) {
  if (!choice) co_return;
  const auto agent = agent_;
  try {
    keepOptions(co_await agent->setConfigOption(*acpSessionId_, choice->id, choice->value));
    sessionOptions_.noteSet(*choice);
  } catch (const AgentRunnerError& error) {
    const bool isAnswer = error.kind() == AgentRunnerError::Case::rpc;
    if (choice->offer == AcpSessionOptions::Offer::made || !isAnswer) throw;
    kLog.warning("the agent lets no {} be chosen: {}", choice->id, error.what());
  }
}

void CursorAcpRunner::Connection::keepOptions(const json::object& told) {
  if (auto options = acp::configOptions(told)) sessionOptions_.take(*std::move(options));
}

awaitable<void> CursorAcpRunner::Connection::ask() {
  const auto prompt = prompt_;
  co_await rpc_->request(
      "session/prompt", acp::promptParams(*acpSessionId_, repairUtf8(prompt->request.prompt)),
      [prompt](const json::object& result) { prompt->take(prompt->turn.onPromptEnd(acp::parsePromptEnd(result))); });
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
  if (rpc->isConnected() && session_ == Session::live) {
    rpc->notify("session/cancel", acp::cancelParams(*acpSessionId_));
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
    self->leaveDetached();
    asio::co_spawn(self->strand_, [rpc = self->rpc_] { return rpc->close(); }, [](std::exception_ptr) {});
  });
}

void CursorAcpRunner::Connection::onNotification(const RpcNotification& notification, std::string_view line) {
  const json::object* told = objectAt(notification.params, "update");
  if (notification.method != "session/update" || !told) return;
  const auto session = acp::sessionIdOf(notification.params);
  if (session && session_ != Session::none && session != acpSessionId_) {
    kLog.debug("CursorAcp unhandled update {} of the session {}", textAt(*told, "sessionUpdate"), *session);
    return;
  }
  const auto prompt = lastPrompt_;
  try {
    acp::Update update = acp::parseUpdate(*told);
    if (auto* change = std::get_if<acp::ConfigChange>(&update)) sessionOptions_.take(std::move(change->options));
    if (prompt && session_ != Session::replaying) prompt->take(prompt->turn.ingest(update, line));
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
  if (prompt->end || prompt_ != prompt) prompt->take(prompt->turn.flushMessageBuffer());
  storing_ = prompt;
  co_await prompt->storeTaken();
  storing_.reset();
  changed_.notify();
  if (!prompt->error || prompt_ != prompt || prompt->stage != Prompt::Stage::running) co_return;
  prompt->stage = Prompt::Stage::stopping;
  asio::co_spawn(
      strand_, [self = shared_from_this(), prompt] { return self->stop(prompt); }, [](std::exception_ptr) {});
}

void CursorAcpRunner::Connection::onDisconnect(std::string_view standardError) {
  logStandardError(standardError);
  session_ = Session::none;
  lastPrompt_ = prompt_;
  changed_.notify();
}

}  // namespace ravant
