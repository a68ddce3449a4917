#pragma once

#include <map>
#include <memory>

#include "agent/ravant_run.hpp"
#include "agent/ravant_runner_options.hpp"
#include "core/agent_runner.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"

namespace ravant {

/// The built-in agent: sends the conversation to a provider, executes the tool calls that the model asks for, and goes
/// on until the model asks for none.
class RavantAgentRunner final : public Actor, public AgentRunner {
 public:
  RavantAgentRunner(std::shared_ptr<ModelContainer> modelContainer, RavantRunnerOptions options);
  ~RavantAgentRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> release(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 private:
  /// Returns when the run is over.
  awaitable<void> stop(ConversationId conversation, std::shared_ptr<RavantRun> run);

  std::shared_ptr<ModelContainer> modelContainer_;
  const RavantRunnerOptions options_;
  Signal changed_;  ///< after any change of the state below
  std::map<ConversationId, RavantMemory> transcripts_;
  std::map<ConversationId, std::shared_ptr<RavantRun>> sending_;
};

}  // namespace ravant
