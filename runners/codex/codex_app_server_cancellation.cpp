#include "runners/codex/codex_app_server_runner.hpp"

#include <algorithm>

#include "core/agent_runner_error.hpp"
#include "platform/log/log.hpp"
#include "runners/codex/codex_app_server_prompt.hpp"
#include "runners/codex/codex_wire.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CodexAppServer");
constexpr std::chrono::milliseconds kInterruptPause{100};

}  // namespace

awaitable<void> CodexAppServerRunner::cancel(ConversationId conversationId) {
  return onActor([this, conversationId]() -> awaitable<void> {
    const auto prompt = promptInFlight(conversationId);
    if (!prompt) co_return;
    prompt->isCancelled = true;
    changed_.notify();
    co_await interrupt(prompt);
    while (promptInFlight(conversationId) == prompt) co_await changed_.wait();
    // Of several prompts on one server nobody can tell which detached what.
    const auto connection = prompt->connection;
    if (connection && promptsInFlight() == 0) co_await connection->endDetached();
  });
}

std::shared_ptr<CodexAppServerRunner::Prompt> CodexAppServerRunner::promptInFlight(
    ConversationId conversationId) const {
  const auto session = sessions_.find(conversationId);
  return session == sessions_.end() ? nullptr : session->second.prompt;
}

bool CodexAppServerRunner::isWaitedFor(const std::shared_ptr<Prompt>& prompt) const {
  return promptInFlight(prompt->request.conversationId) == prompt && !prompt->turn.isOver();
}

bool CodexAppServerRunner::isUsedByOthers(const std::shared_ptr<Prompt>& prompt) const {
  return std::ranges::any_of(sessions_, [&](const auto& entry) {
    const auto& other = entry.second.prompt;
    return other && other != prompt && !other->isCancelled && other->connection == prompt->connection;
  });
}

awaitable<void> CodexAppServerRunner::interrupt(std::shared_ptr<Prompt> prompt) {
  auto deadline = std::chrono::steady_clock::now() + options_.cancelLimit;
  if (starter_ == prompt && promptsInFlight() == 1) deadline = {};  // nobody needs the server
  startInterrupting(prompt, deadline);
  while (isWaitedFor(prompt) && std::chrono::steady_clock::now() < deadline) co_await changed_.wait(deadline);
  if (!isWaitedFor(prompt)) co_return;
  if (prompt->connection && isUsedByOthers(prompt)) co_return letGo(prompt);
  const auto connection = starter_ == prompt ? connection_ : prompt->connection;
  if (!connection) co_return;
  kLog.warning("the server did not end a cancelled turn and is ended itself");
  co_await connection->close();
}

void CodexAppServerRunner::letGo(const std::shared_ptr<Prompt>& prompt) {
  kLog.warning("the server did not end the turn {} of conv={}; it is forgotten, as others run there",
               prompt->turnId.value_or("(unnamed)"), prompt->request.conversationId.text());
  prompt->isLetGo = true;
  hasLetGo_ = true;
  if (prompt->turnId) forgottenTurns_.insert(*prompt->turnId);
  std::erase_if(threadToConversation_,
                [&](const auto& entry) { return entry.second == prompt->request.conversationId; });
  changed_.notify();
}

void CodexAppServerRunner::startInterrupting(std::shared_ptr<Prompt> prompt, Signal::Deadline deadline) {
  asio::co_spawn(
      strand(), [self = shared_from_this(), this, prompt, deadline] { return askToInterrupt(prompt, deadline); },
      [](std::exception_ptr) {});
}

awaitable<void> CodexAppServerRunner::askToInterrupt(std::shared_ptr<Prompt> prompt, Signal::Deadline deadline) {
  const auto isGoingOn = [&] { return prompt->isLetGo || isWaitedFor(prompt); };
  while (isGoingOn() && std::chrono::steady_clock::now() < deadline) {
    if (prompt->turnId) {
      try {
        co_await prompt->connection->request("turn/interrupt",
                                             codex::turnInterruptParams(prompt->threadId, *prompt->turnId));
        co_return;
      } catch (const AgentRunnerError& error) {
        // A turn that has hardly begun is refused.
        if (error.kind() != AgentRunnerError::Case::rpc) co_return;
      }
    }
    co_await changed_.wait(std::min(deadline, std::chrono::steady_clock::now() + kInterruptPause));
  }
}

}  // namespace ravant
