#include "core/agent_runner_store.hpp"

#include <exception>
#include <utility>

#include "core/agent_runner_error.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "platform/async/side_by_side.hpp"
#include "platform/log/log.hpp"
#include "platform/notifications/notification_center.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "AgentRunnerStore");

}  // namespace

AgentRunnerStore::AgentRunnerStore(std::shared_ptr<ModelContainer> modelContainer,
                                   std::shared_ptr<RunnerFactory> factory,
                                   std::shared_ptr<NotificationCenter> notifications)
    : modelContainer_(std::move(modelContainer)),
      factory_(std::move(factory)),
      notifications_(std::move(notifications)) {}

awaitable<PromptEndReason> AgentRunnerStore::send(AgentRunRequest request, Agent agent) {
  const ConversationId id = request.conversationId;
  kLog.debug("AgentRunnerStore.send agent={} conv={}", rawValue(agent.type), id.text());
  const auto prompt = std::make_shared<Prompt>();
  const bool isOnlyOne = inFlight_.try_emplace(id, prompt).second;
  if (isOnlyOne) announceActiveConversations(id);

  std::optional<std::string> failure;
  std::exception_ptr unrecorded;
  try {
    if (!isOnlyOne) throw AgentRunnerError(AgentRunnerError::Case::busy);
    prompt->runner = runner(id, agent);
    co_await prompt->runner->send(std::move(request));
  } catch (const ConversationGoneError& error) {
    failure = error.what();
    unrecorded = std::current_exception();
  } catch (const std::exception& error) {
    // The text can hold what the agent wrote; it belongs in the transcript, not in the log.
    kLog.error("AgentRunnerStore.send failed agent={} conv={}", rawValue(agent.type), id.text());
    failure = error.what();
  }
  if (prompt->isCancelled) {
    markEnded(id, prompt);
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
  if (markEnded(id, prompt)) notifyPromptFinished(id, reason);
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

awaitable<void> AgentRunnerStore::shutdown() {
  std::map<ConversationId, std::shared_ptr<Prompt>> stopped;
  for (const auto& [id, prompt] : inFlight_) {
    if (!std::exchange(prompt->isCancelled, true)) stopped.emplace(id, prompt);
  }
  std::vector<awaitable<void>> ends;
  const auto end = [&](const std::shared_ptr<AgentRunner>& runner) {
    if (runner) ends.push_back(runner->shutdown());
  };
  for (const auto& [id, runner] : shellRunners_) end(runner);
  for (const auto& runner : {codexRunner_, cursorRunner_, ravantRunner_}) end(runner);
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
