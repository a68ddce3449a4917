#include "runners/codex/codex_app_server_runner.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "core/agent_command.hpp"
#include "core/agent_runner_error.hpp"
#include "platform/files/working_folder.hpp"
#include "platform/log/log.hpp"
#include "platform/text/utf8.hpp"
#include "runners/codex/codex_app_server_prompt.hpp"
#include "runners/codex/codex_wire.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CodexAppServer");

/// A prompt was let go while it waited for an answer.
class LetGoError final : public std::runtime_error {
 public:
  LetGoError() : std::runtime_error("the server did not answer in time") {}
};

}  // namespace

CodexAppServerRunner::CodexAppServerRunner(std::shared_ptr<ModelContainer> modelContainer, RpcRunnerOptions options)
    : Actor(options.io),
      modelContainer_(std::move(modelContainer)),
      options_(std::move(options)),
      changed_(strand()),
      idle_(strand()),
      untoldTimer_(strand()) {}

CodexAppServerRunner::~CodexAppServerRunner() = default;

awaitable<void> CodexAppServerRunner::send(AgentRunRequest request) {
  return onActor([this, request = std::move(request)]() mutable -> awaitable<void> {
    Session& session = sessions_[request.conversationId];
    if (session.prompt) throw AgentRunnerError(AgentRunnerError::Case::busy);
    if (session.lastPrompt) session.shownOutputs = session.lastPrompt->turn.shownOutputs();
    session.model = request.model;
    const auto prompt =
        std::make_shared<Prompt>(std::move(request), modelContainer_, session.pastTurnIds, session.shownOutputs);
    session.prompt = prompt;
    session.lastPrompt = prompt;
    idle_.cancel();

    std::exception_ptr error;
    try {
      co_await prompt->writer.record(
          prompt->request.prompt, AgentType::codex, [prompt] { return prompt->isCancelled; },
          [&] { return runTurn(prompt); }, prompt->request.choice());
    } catch (...) {
      error = std::current_exception();
    }
    session.prompt.reset();
    if (prompt->turnId) session.pastTurnIds.insert(*prompt->turnId);
    keepForLater(prompt->request.conversationId);
    changed_.notify();
    endServerWhenIdle();
    if (error) std::rethrow_exception(error);
  });
}

awaitable<void> CodexAppServerRunner::runTurn(std::shared_ptr<Prompt> prompt) {
  expectFolder(prompt->request.workingDirectory);
  co_await ensureRunning(prompt);
  if (prompt->isCancelled) co_return;
  prompt->connection = connection_;
  std::exception_ptr error;
  try {
    co_await followTurn(prompt);
  } catch (...) {
    error = std::current_exception();
  }
  if (prompt->turnId) turnToConversation_.erase(*prompt->turnId);
  std::ranges::move(prompt->turn.close(), std::back_inserter(prompt->actions));
  co_await store(prompt);
  if (!prompt->isCancelled) prompt->connection->leaveDetached();
  if (!prompt->connection->isConnected()) co_await prompt->connection->close();
  if (error) std::rethrow_exception(error);
  if (prompt->error) {
    co_await interrupt(prompt);
    std::rethrow_exception(prompt->error);
  }
  if (!prompt->end) throw AgentRunnerError(AgentRunnerError::Case::processDied);
  if (prompt->end->failure) throw AgentRunnerError::rpc(*prompt->end->failure);
}

awaitable<void> CodexAppServerRunner::followTurn(std::shared_ptr<Prompt> prompt) {
  const auto connection = prompt->connection;
  const AgentRunRequest& request = prompt->request;
  prompt->threadId = co_await ensureThread(prompt);
  threadToConversation_.insert_or_assign(prompt->threadId, request.conversationId);
  if (prompt->isCancelled) co_return;

  co_await prompt->writer.announce(RunState::Kind::thinking);
  co_await ask(prompt, "turn/start",
               codex::turnStartParams(prompt->threadId, repairUtf8(request.prompt), request.model, request.effort),
               [this, prompt](const json::object& result) { onTurnStarted(prompt, result); });
  if (!prompt->turnId) throw AgentRunnerError::rpc("turn/start: missing turn id");
  while (!prompt->end && !prompt->error && !prompt->isLetGo && connection->isConnected()) co_await changed_.wait();
}

awaitable<json::object> CodexAppServerRunner::ask(std::shared_ptr<Prompt> prompt, std::string_view method,
                                                  json::object params, RpcConnection::OnResult onResult) {
  struct Answer {
    std::optional<json::object> result;
    std::exception_ptr error;
  };
  const auto answer = std::make_shared<Answer>();
  asio::co_spawn(
      strand(),
      [self = shared_from_this(), this, connection = prompt->connection, answer, method, params = std::move(params),
       onResult = std::move(onResult)]() mutable -> awaitable<void> {
        try {
          answer->result = co_await connection->request(method, std::move(params), std::move(onResult));
        } catch (...) {
          answer->error = std::current_exception();
        }
        changed_.notify();
      },
      [](std::exception_ptr) {});
  while (!answer->result && !answer->error && !prompt->isLetGo) co_await changed_.wait();
  if (answer->error) std::rethrow_exception(answer->error);
  if (!answer->result) throw LetGoError();
  co_return *std::move(answer->result);
}

void CodexAppServerRunner::onTurnStarted(const std::shared_ptr<Prompt>& prompt, const json::object& result) {
  prompt->turnId = codex::extractTurnId(result);
  if (!prompt->turnId) return;
  kLog.debug("turn {} begins conv={}", *prompt->turnId, prompt->request.conversationId.text());
  if (prompt->isLetGo) {
    forgottenTurns_.insert(*prompt->turnId);
    startInterrupting(prompt, std::chrono::steady_clock::now() + options_.cancelLimit);
    return;
  }
  forgottenTurns_.erase(*prompt->turnId);  // the prompt was taken into a turn that still runs
  turnToConversation_.insert_or_assign(*prompt->turnId, prompt->request.conversationId);
  take(prompt, prompt->turn.onStarted(*prompt->turnId));
  changed_.notify();
}

awaitable<void> CodexAppServerRunner::ensureRunning(std::shared_ptr<Prompt> prompt) {
  const std::string& binaryPath = prompt->request.binaryPath;
  if (!isReady(binaryPath)) co_await prompt->writer.announce(RunState::Kind::waitingForShell);
  while (!prompt->isCancelled && !isReady(binaryPath)) {
    if (starter_) {
      co_await changed_.wait();
      continue;
    }
    if (connection_ && connection_->isConnected() && isServerUsed()) {
      throw PromptRefusedError(fmt::format("another Codex program runs prompts now ({}); try again when they are done",
                                           AgentCommand::executable(binaryPath_, AgentType::codex)));
    }
    co_await startServer(prompt);
  }
}

bool CodexAppServerRunner::isReady(const std::string& binaryPath) const {
  if (starter_ || !connection_ || !connection_->isConnected() || binaryPath_ != binaryPath) return false;
  return connection_->isUsable() || isServerUsed();
}

awaitable<void> CodexAppServerRunner::startServer(std::shared_ptr<Prompt> prompt) {
  starter_ = prompt;
  std::exception_ptr error;
  try {
    if (connection_) co_await connection_->close();
    if (!prompt->isCancelled) {
      const auto connection = std::make_shared<RpcConnection>(strand(), options_.shell);
      connection_ = connection;
      hasLetGo_ = false;
      binaryPath_ = prompt->request.binaryPath;
      co_await connection->start(
          prompt->request.workingDirectory,
          fmt::format("{} app-server", AgentCommand::executable(binaryPath_, AgentType::codex)),
          std::shared_ptr<RpcListener>(shared_from_this(), static_cast<RpcListener*>(this)),
          [connection, limit = options_.shell.startLimit] { return initializeHandshake(connection, limit); });
    }
  } catch (...) {
    error = std::current_exception();
  }
  starter_.reset();
  changed_.notify();
  if (error) std::rethrow_exception(error);
}

awaitable<void> CodexAppServerRunner::initializeHandshake(std::shared_ptr<RpcConnection> connection,
                                                          std::chrono::milliseconds limit) {
  co_await connection->initialize(codex::initializeParams(), limit);
  connection->notify("initialized");
}

awaitable<std::string> CodexAppServerRunner::ensureThread(std::shared_ptr<Prompt> prompt) {
  const ConversationId conversation = prompt->request.conversationId;
  Session& session = sessions_[conversation];
  if (session.threadServer.lock() == prompt->connection) co_return *session.providerThreadId;
  const auto existing = session.providerThreadId ? session.providerThreadId : prompt->request.resumedSessionId;
  std::optional<std::string> threadId;
  if (existing) threadId = co_await resumeThread(*existing, prompt);
  const bool isLost = existing && !threadId;
  if (!threadId) threadId = co_await startThread(prompt);

  if (isLost) {
    co_await prompt->writer.loseSession(threadId);
  } else if (prompt->request.resumedSessionId != threadId) {
    co_await prompt->writer.store({turn::SetSession{threadId}});
  }
  session.providerThreadId = threadId;
  session.threadServer = prompt->connection;
  co_return *threadId;
}

awaitable<std::optional<std::string>> CodexAppServerRunner::resumeThread(std::string existing,
                                                                         std::shared_ptr<Prompt> prompt) {
  try {
    const json::object result =
        co_await ask(prompt, "thread/resume",
                     codex::threadParams(existing, prompt->request.workingDirectory.string(), prompt->request.model));
    co_return codex::extractThreadId(result).value_or(existing);
  } catch (const AgentRunnerError& error) {
    if (error.kind() != AgentRunnerError::Case::rpc || !codex::isUnknownThread(error.what())) throw;
    kLog.warning("the server does not know a thread any more: {}", error.what());
  }
  co_return std::nullopt;
}

awaitable<std::string> CodexAppServerRunner::startThread(std::shared_ptr<Prompt> prompt) {
  const json::object result =
      co_await ask(prompt, "thread/start",
                   codex::threadParams(std::nullopt, prompt->request.workingDirectory.string(), prompt->request.model));
  auto threadId = codex::extractThreadId(result);
  if (!threadId) throw AgentRunnerError::rpc("thread/start: missing thread id");
  co_return *std::move(threadId);
}

awaitable<void> CodexAppServerRunner::shutdown() {
  return onActor([this]() -> awaitable<void> {
    idle_.cancel();
    untoldTimer_.cancel();
    for (auto& [id, session] : sessions_) {
      if (session.prompt) session.prompt->isCancelled = true;
    }
    changed_.notify();
    if (connection_) {
      connection_->leaveDetached();
      co_await connection_->close();
    }
    while (promptsInFlight() > 0) co_await changed_.wait();
    // One that was being started meanwhile.
    if (connection_) co_await connection_->close();
  });
}

std::size_t CodexAppServerRunner::promptsInFlight() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(sessions_, [](const auto& entry) { return entry.second.prompt != nullptr; }));
}

bool CodexAppServerRunner::isServerUsed() const {
  return std::ranges::any_of(sessions_, [this](const auto& entry) {
    const auto& prompt = entry.second.prompt;
    return prompt && prompt->connection == connection_;
  });
}

void CodexAppServerRunner::endServerWhenIdle() {
  if (promptsInFlight() > 0 || !connection_ || !connection_->isConnected()) return;
  // A turn that was let go may still work there.
  idle_.expires_after(hasLetGo_ ? std::chrono::milliseconds(0) : options_.idleLimit);
  idle_.async_wait([self = weak_from_this(), this](boost::system::error_code error) {
    const auto alive = self.lock();
    if (error || !alive || promptsInFlight() > 0 || !connection_) return;
    kLog.info("the server is ended, as nothing runs there");
    if (!hasLetGo_) connection_->leaveDetached();
    asio::co_spawn(
        strand(), [alive, connection = connection_] { return connection->close(); }, [](std::exception_ptr) {});
  });
}

}  // namespace ravant
