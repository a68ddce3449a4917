#include "runners/codex/codex_app_server_runner.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/log/log.hpp"
#include "runners/codex/codex_app_server_prompt.hpp"
#include "runners/codex/codex_wire.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.runners", "CodexAppServer");
constexpr std::chrono::seconds kUntoldLimit{1};
// Each holds a connection to the store and all that its turn said.
constexpr std::size_t kKeptPrompts = 8;

}  // namespace

void CodexAppServerRunner::onNotification(const RpcNotification& notification, std::string_view line) {
  const auto prompt = routeConversation(notification.params);
  if (!prompt) return;
  try {
    auto actions = prompt->turn.ingest(notification.method, notification.params, line);
    if (prompt->error) changed_.notify();  // nothing is stored any more, but the turn can be over
    if (!prompt->error) take(prompt, std::move(actions));
  } catch (const std::exception& error) {
    kLog.error("a notification could not be taken in: {}", error.what());
    prompt->error = std::current_exception();
    changed_.notify();
  }
}

void CodexAppServerRunner::take(const std::shared_ptr<Prompt>& prompt, std::vector<turn::Action> actions) {
  if (std::ranges::count(taken_, prompt) == 0) taken_.push_back(prompt);
  std::ranges::move(actions, std::back_inserter(prompt->actions));
}

RpcOutcome CodexAppServerRunner::onRequest(const RpcRequest& request) {
  if (auto answer = codex::answerTo(request.method)) return *std::move(answer);
  kLog.warning("the request {} of the server is not served", request.method);
  return RpcError{.code = kRpcMethodNotFound, .message = "Method not found"};
}

std::shared_ptr<CodexAppServerRunner::Prompt> CodexAppServerRunner::routeConversation(const json::object& params) {
  const auto find = [](const auto& map, const auto& key) {
    const auto found = key ? map.find(*key) : map.end();
    return found == map.end() ? std::nullopt : std::optional(found->second);
  };
  const auto turnId = codex::extractTurnId(params);
  if (turnId && forgottenTurns_.contains(*turnId)) return nullptr;
  auto conversation = find(turnToConversation_, turnId);
  if (!conversation) conversation = find(threadToConversation_, codex::extractThreadId(params));
  return conversation ? promptFor(*conversation) : nullptr;
}

std::shared_ptr<CodexAppServerRunner::Prompt> CodexAppServerRunner::promptFor(ConversationId conversation) {
  Session& session = sessions_[conversation];
  if (session.lastPrompt) return session.lastPrompt;
  session.lastPrompt = std::make_shared<Prompt>(AgentRunRequest{.prompt = {},
                                                                .model = session.model,
                                                                .effort = {},
                                                                .conversationId = conversation,
                                                                .workingDirectory = {},
                                                                .resumedSessionId = {},
                                                                .binaryPath = {}},
                                                modelContainer_, session.pastTurnIds, session.shownOutputs);
  session.lastPrompt->turn.close();
  keepForLater(conversation);
  return session.lastPrompt;
}

void CodexAppServerRunner::keepForLater(ConversationId conversation) {
  std::erase(resting_, conversation);
  resting_.push_back(conversation);
  if (resting_.size() <= kKeptPrompts) return;
  const auto oldest = sessions_.find(resting_.front());
  resting_.pop_front();
  if (oldest == sessions_.end() || oldest->second.prompt) return;
  Session& session = oldest->second;
  if (const auto last = std::exchange(session.lastPrompt, nullptr)) session.shownOutputs = last->turn.shownOutputs();
}

awaitable<void> CodexAppServerRunner::onLinesTaken() {
  for (const auto& prompt : std::exchange(taken_, {})) {
    std::ranges::move(prompt->turn.takeOutputs(), std::back_inserter(prompt->actions));
    if (prompt->turn.hasUntoldOutput()) tellLater(prompt);
    co_await store(prompt);
  }
}

void CodexAppServerRunner::tellLater(const std::shared_ptr<Prompt>& prompt) {
  if (std::ranges::count(untold_, prompt) > 0) return;
  untold_.push_back(prompt);
  if (untold_.size() > 1) return;
  untoldTimer_.expires_after(kUntoldLimit);
  untoldTimer_.async_wait([self = weak_from_this(), this](boost::system::error_code error) {
    const auto alive = self.lock();
    if (error || !alive) return;
    asio::co_spawn(strand(), [alive, this] { return tellUntold(); }, [](std::exception_ptr) {});
  });
}

awaitable<void> CodexAppServerRunner::tellUntold() {
  for (const auto& prompt : std::exchange(untold_, {})) {
    std::ranges::move(prompt->turn.takeOutputs(CodexTurn::Outputs::all), std::back_inserter(prompt->actions));
    co_await store(prompt);
  }
}

awaitable<void> CodexAppServerRunner::store(std::shared_ptr<Prompt> prompt) {
  while (prompt->isStoring) co_await changed_.wait();
  prompt->isStoring = true;
  co_await prompt->store();
  prompt->isStoring = false;
  changed_.notify();
}

void CodexAppServerRunner::onDisconnect(std::string_view standardError) {
  if (promptsInFlight() > 0) kLog.error("the server has ended in a turn; its last words: {}", standardError);
  threadToConversation_.clear();
  turnToConversation_.clear();
  forgottenTurns_.clear();
  resting_.clear();
  std::erase_if(sessions_, [](const auto& entry) { return !entry.second.prompt; });
  changed_.notify();
}

}  // namespace ravant
