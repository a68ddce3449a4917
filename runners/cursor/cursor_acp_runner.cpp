#include "runners/cursor/cursor_acp_runner.hpp"

#include <exception>
#include <utility>
#include <vector>

#include "core/agent_runner_error.hpp"
#include "platform/async/side_by_side.hpp"
#include "platform/files/working_folder.hpp"
#include "runners/cursor/cursor_acp_connection.hpp"
#include "runners/cursor/cursor_acp_prompt.hpp"

namespace ravant {

CursorAcpRunner::CursorAcpRunner(std::shared_ptr<ModelContainer> modelContainer, RpcRunnerOptions options,
                                 AcpLimits limits)
    : Actor(options.io), modelContainer_(std::move(modelContainer)), options_(std::move(options)), limits_(limits) {}

CursorAcpRunner::~CursorAcpRunner() = default;

std::shared_ptr<CursorAcpRunner::Connection> CursorAcpRunner::connectionOf(ConversationId conversationId) {
  auto& connection = connections_[conversationId];
  if (!connection) connection = std::make_shared<Connection>(strand(), options_, limits_);
  return connection;
}

awaitable<void> CursorAcpRunner::send(AgentRunRequest request) {
  return onActor([this, request = std::move(request)]() mutable -> awaitable<void> {
    const auto connection = connectionOf(request.conversationId);
    if (connection->isBusy()) throw AgentRunnerError(AgentRunnerError::Case::busy);
    const auto prompt = connection->begin(std::move(request), modelContainer_);
    std::exception_ptr error;
    try {
      co_await untilReleased(prompt->request.conversationId);
      co_await connection->settle();
      co_await prompt->writer.record(
          prompt->request.prompt, AgentType::cursor, [prompt] { return prompt->isCancelled; },
          [&] { return runTurn(connection, prompt); }, prompt->request.choice());
    } catch (...) {
      error = std::current_exception();
    }
    connection->end();
    if (error) std::rethrow_exception(error);
  });
}

awaitable<void> CursorAcpRunner::runTurn(std::shared_ptr<Connection> connection, std::shared_ptr<Prompt> prompt) {
  std::exception_ptr error;
  try {
    expectFolder(prompt->request.workingDirectory);
    co_await connection->ensureConnection();
    if (!prompt->isCancelled) co_await connection->chooseModelAndEffort();
    if (!prompt->isCancelled) co_await connection->ask();
  } catch (...) {
    error = std::current_exception();
  }
  prompt->take(prompt->turn.close());
  co_await prompt->storeTaken();
  if (!prompt->isCancelled) connection->leaveDetached();
  co_await connection->clearUp();
  prompt->stage = Prompt::Stage::over;
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

awaitable<void> CursorAcpRunner::release(ConversationId conversationId) {
  return onActor([this, conversationId]() -> awaitable<void> {
    const auto idle = connections_.find(conversationId);
    if (idle == connections_.end() || idle->second->isBusy()) co_return;
    co_await untilReleased(conversationId);
    const auto found = connections_.find(conversationId);
    if (found == connections_.end() || found->second->isBusy()) co_return;
    released_[conversationId] = found->second;
    connections_.erase(found);
    co_await untilReleased(conversationId);
  });
}

awaitable<void> CursorAcpRunner::untilReleased(ConversationId conversationId) {
  const auto found = released_.find(conversationId);
  if (found == released_.end()) co_return;
  const auto connection = found->second;
  co_await connection->close();
  const auto left = released_.find(conversationId);
  if (left != released_.end() && left->second == connection) released_.erase(left);
}

awaitable<void> CursorAcpRunner::shutdown() {
  return onActor([this]() -> awaitable<void> {
    std::vector<awaitable<void>> ends;
    for (const auto& [id, connection] : released_) ends.push_back(connection->close());
    for (const auto& [id, connection] : connections_) ends.push_back(connection->close());
    co_await sideBySide(std::move(ends));
  });
}

}  // namespace ravant
