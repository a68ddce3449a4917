#include "agent/ravant_agent_runner.hpp"

#include <exception>
#include <utility>

#include "core/agent_runner_error.hpp"
#include "platform/async/side_by_side.hpp"

namespace ravant {

RavantAgentRunner::RavantAgentRunner(std::shared_ptr<ModelContainer> modelContainer, RavantRunnerOptions options)
    : Actor(options.io), modelContainer_(std::move(modelContainer)), options_(std::move(options)), changed_(strand()) {}

RavantAgentRunner::~RavantAgentRunner() = default;

awaitable<void> RavantAgentRunner::send(AgentRunRequest request) {
  return onActor([this, request = std::move(request)]() mutable -> awaitable<void> {
    const ConversationId conversation = request.conversationId;
    if (sending_.contains(conversation)) throw AgentRunnerError(AgentRunnerError::Case::busy);
    const auto run = std::make_shared<RavantRun>(std::move(request), transcripts_[conversation], modelContainer_,
                                                 options_, strand());
    sending_.emplace(conversation, run);

    std::exception_ptr error;
    try {
      co_await run->perform();
    } catch (...) {
      error = std::current_exception();
    }
    transcripts_[conversation] = run->takeMemory();
    sending_.erase(conversation);
    changed_.notify();
    if (error) std::rethrow_exception(error);
  });
}

awaitable<void> RavantAgentRunner::cancel(ConversationId conversationId) {
  return onActor([this, conversationId]() -> awaitable<void> {
    const auto found = sending_.find(conversationId);
    if (found == sending_.end()) co_return;
    const auto run = found->second;
    co_await stop(conversationId, run);
    co_await run->endDetached();
  });
}

awaitable<void> RavantAgentRunner::release(ConversationId conversationId) {
  return onActor([this, conversationId]() -> awaitable<void> {
    if (!sending_.contains(conversationId)) transcripts_.erase(conversationId);
    co_return;
  });
}

awaitable<void> RavantAgentRunner::shutdown() {
  return onActor([this]() -> awaitable<void> {
    std::vector<awaitable<void>> ends;
    for (const auto& [conversation, run] : sending_) ends.push_back(stop(conversation, run));
    co_await sideBySide(std::move(ends));
  });
}

awaitable<void> RavantAgentRunner::stop(ConversationId conversation, std::shared_ptr<RavantRun> run) {
  run->stop();
  const auto isSending = [&] {
    const auto found = sending_.find(conversation);
    return found != sending_.end() && found->second == run;
  };
  while (isSending()) co_await changed_.wait();
}

}  // namespace ravant
