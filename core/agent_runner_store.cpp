#include "core/agent_runner_store.hpp"

#include <algorithm>
#include <boost/asio/this_coro.hpp>
#include <exception>
#include <utility>
#include <variant>

#include "core/agent_runner_error.hpp"
#include "core/store/change_feed.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "core/store/conversation_model_actor.hpp"
#include "platform/async/side_by_side.hpp"
#include "platform/log/log.hpp"
#include "platform/notifications/notification_center.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "AgentRunnerStore");

/// A project takes its conversations with it.
bool removesConversations(const Change& change) {
  return change.operation == ChangeOperation::removed &&
         (std::holds_alternative<ConversationId>(change.entity) || std::holds_alternative<ProjectId>(change.entity));
}

}  // namespace

AgentRunnerStore::AgentRunnerStore(std::shared_ptr<ModelContainer> modelContainer,
                                   std::shared_ptr<RunnerFactory> factory,
                                   std::shared_ptr<NotificationCenter> notifications)
    : modelContainer_(std::move(modelContainer)),
      factory_(std::move(factory)),
      notifications_(std::move(notifications)) {}

std::unique_ptr<AgentRunnerStore::Claim> AgentRunnerStore::claim(ConversationId conversationId) {
  if (inFlight_.contains(conversationId) || !claimed_.insert(conversationId).second) return nullptr;
  return std::unique_ptr<Claim>(new Claim(*this, conversationId));
}

awaitable<PromptEndReason> AgentRunnerStore::send(AgentRunRequest request, Agent agent) {
  // Nobody asked for it just now, and it can wait.
  if (isShutDown_ && request.queued) throw QueuedPromptNotSentError("the program ends");
  const ConversationId id = request.conversationId;
  kLog.debug("AgentRunnerStore.send agent={} conv={}", rawValue(agent.type), id.text());
  const auto prompt = std::make_shared<Prompt>();
  const bool isOnlyOne = inFlight_.try_emplace(id, prompt).second;
  if (isOnlyOne) announceActiveConversations(id);
  removeIdle(id);

  std::optional<std::string> failure;
  std::exception_ptr unrecorded;
  bool wasSent = true;
  try {
    if (!isOnlyOne) throw AgentRunnerError(AgentRunnerError::Case::busy);
    prompt->runner = runner(id, agent);
    co_await prompt->runner->send(std::move(request));
  } catch (const ConversationGoneError& error) {
    failure = error.what();
    unrecorded = std::current_exception();
  } catch (const QueuedPromptNotSentError& error) {
    failure = error.what();
    unrecorded = std::current_exception();
    wasSent = false;
  } catch (const std::exception& error) {
    // The text can hold what the agent wrote; it belongs in the transcript, not in the log.
    kLog.error("AgentRunnerStore.send failed agent={} conv={}", rawValue(agent.type), id.text());
    failure = error.what();
  }
  if (prompt->isCancelled) {
    markEnded(id, prompt);
    // A shell ends with a cancelled prompt; such an agent may go on.
    if (isOnlyOne && prompt->runner == cursorRunner_) co_await keepLatest(id, prompt->runner);
    co_return PromptEndReason::cancelled;
  }

  if (failure && !unrecorded) {
    try {
      co_await recordFailure(id, *failure);
    } catch (...) {
      unrecorded = std::current_exception();
    }
  }
  const auto reason = failure ? PromptEndReason::failed : PromptEndReason::finished;
  if (markEnded(id, prompt) && wasSent) notifyPromptFinished(id, reason);
  if (isOnlyOne) co_await keepLatest(id, prompt->runner);
  if (unrecorded) std::rethrow_exception(unrecorded);
  co_return reason;
}

awaitable<void> AgentRunnerStore::recordFailure(ConversationId conversationId, std::string description) {
  const auto items = ConversationItemModelActor::make(modelContainer_);
  co_await items->appendFailureEvent(conversationId, "", "The agent run failed: " + description);
}

awaitable<void> AgentRunnerStore::cancelRunner(ConversationId conversationId) {
  std::shared_ptr<Prompt> prompt;
  std::shared_ptr<AgentRunner> stopped;
  if (const auto running = inFlight_.find(conversationId); running != inFlight_.end()) {
    prompt = running->second;
    prompt->isCancelled = true;
    stopped = prompt->runner;
  } else if (const auto idle = shellRunners_.find(conversationId); idle != shellRunners_.end()) {
    stopped = idle->second;
    removeIdle(conversationId);
  }
  std::exception_ptr error;
  try {
    if (stopped) co_await stopped->cancel(conversationId);
  } catch (...) {
    error = std::current_exception();
  }
  markEnded(conversationId, prompt);
  notifyPromptFinished(conversationId, PromptEndReason::cancelled);
  if (error) std::rethrow_exception(error);
}

std::shared_ptr<AgentRunner> AgentRunnerStore::runner(ConversationId conversationId, const Agent& agent) {
  std::shared_ptr<AgentRunner>& slot = runnerSlot(conversationId, agent.type);
  if (!slot) slot = factory_->makeRunner(agent.type, modelContainer_);
  if (std::ranges::count(sharedRunners(), slot) > 0) sharing_.insert(conversationId);
  return slot;
}

std::shared_ptr<AgentRunner>& AgentRunnerStore::runnerSlot(ConversationId conversationId, AgentType type) {
  switch (type) {
    case AgentType::claude:
    case AgentType::pi:
      return shellRunners_[conversationId];
    case AgentType::codex:
      return codexRunner_;
    case AgentType::cursor:
      return cursorRunner_;
    case AgentType::ravant:
      return ravantRunner_;
  }
  __builtin_unreachable();
}

void AgentRunnerStore::notifyPromptFinished(ConversationId conversationId, PromptEndReason reason) {
  notifications_->post({.name = std::string(kShellPromptFinished),
                        .object = conversationId.text(),
                        .userInfo = {{std::string(kPromptEndReasonKey), std::string(rawValue(reason))}}});
}

std::set<ConversationId> AgentRunnerStore::activeConversations() const {
  std::set<ConversationId> active;
  for (const auto& [id, prompt] : inFlight_) active.insert(id);
  return active;
}

bool AgentRunnerStore::markEnded(ConversationId conversationId, const std::shared_ptr<Prompt>& prompt) {
  const auto found = inFlight_.find(conversationId);
  if (found == inFlight_.end() || found->second != prompt) return false;
  inFlight_.erase(found);
  announceActiveConversations(conversationId);
  return true;
}

void AgentRunnerStore::announceActiveConversations(ConversationId conversationId) {
  notifications_->post({.name = std::string(kActiveConversationsChanged), .object = conversationId.text()});
}

std::vector<std::shared_ptr<AgentRunner>> AgentRunnerStore::sharedRunners() const {
  std::vector<std::shared_ptr<AgentRunner>> runners = {codexRunner_, cursorRunner_, ravantRunner_};
  std::erase(runners, nullptr);
  return runners;
}

void AgentRunnerStore::removeIdle(ConversationId conversationId) {
  std::erase_if(idle_, [conversationId](const auto& idle) { return idle.first == conversationId; });
}

awaitable<void> AgentRunnerStore::keepLatest(ConversationId used, std::shared_ptr<AgentRunner> runner) {
  if (!runner || runner == codexRunner_ || runner == ravantRunner_ || inFlight_.contains(used)) co_return;
  removeIdle(used);
  idle_.emplace_back(used, std::move(runner));
  if (idle_.size() <= kMostIdleShells) co_return;
  const auto [oldest, holder] = idle_.front();
  idle_.pop_front();
  // Nobody waits for it; the runner itself awaits its end before another prompt.
  asio::co_spawn(
      co_await asio::this_coro::executor, [runner = holder, id = oldest] { return runner->release(id); },
      [](std::exception_ptr error) {
        if (error) kLog.error("a process that was kept could not be ended");
      });
}

awaitable<void> AgentRunnerStore::followRemovals() {
  if (std::exchange(isFollowingRemovals_, true)) co_return;
  const auto changes = co_await modelContainer_->changeFeed()->subscribe(co_await asio::this_coro::executor);
  while (const auto batch = co_await changes->next()) {
    if (!batch->isIncomplete && std::ranges::none_of(batch->changes, removesConversations)) continue;
    try {
      co_await endRunnersOfRemoved();
    } catch (const std::exception& error) {
      kLog.error("what removed conversations have left could not be ended: {}", error.what());
    }
  }
}

awaitable<void> AgentRunnerStore::endRunnersOfRemoved() {
  const auto conversations = ConversationModelActor::make(modelContainer_);
  for (const auto& [id, runner] : std::map(shellRunners_)) {
    const bool isThere = (co_await conversations->conversation(id)).has_value();
    if (isThere || inFlight_.contains(id)) continue;
    co_await runner->cancel(id);
    removeIdle(id);
    shellRunners_.erase(id);
  }
  for (const ConversationId id : std::set(sharing_)) {
    const bool isThere = (co_await conversations->conversation(id)).has_value();
    if (isThere || inFlight_.contains(id)) continue;
    for (const auto& runner : sharedRunners()) {
      co_await runner->cancel(id);
      co_await runner->release(id);
    }
    removeIdle(id);
    sharing_.erase(id);
  }
}

awaitable<void> AgentRunnerStore::shutdown() {
  isShutDown_ = true;
  std::map<ConversationId, std::shared_ptr<Prompt>> stopped;
  for (const auto& [id, prompt] : inFlight_) {
    if (!std::exchange(prompt->isCancelled, true)) stopped.emplace(id, prompt);
  }
  std::vector<awaitable<void>> ends;
  const auto end = [&](const std::shared_ptr<AgentRunner>& runner) {
    if (runner) ends.push_back(runner->shutdown());
  };
  for (const auto& [id, runner] : shellRunners_) end(runner);
  for (const auto& runner : sharedRunners()) end(runner);
  std::exception_ptr error;
  try {
    co_await sideBySide(std::move(ends));
  } catch (...) {
    error = std::current_exception();
  }
  for (const auto& [id, prompt] : stopped) {
    markEnded(id, prompt);
    notifyPromptFinished(id, PromptEndReason::cancelled);
  }
  if (error) std::rethrow_exception(error);
}

}  // namespace ravant
