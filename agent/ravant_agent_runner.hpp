#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agent/chat_completions_client.hpp"
#include "agent/ravant_message.hpp"
#include "agent/ravant_model.hpp"
#include "agent/ravant_provider_key.hpp"
#include "core/agent_runner.hpp"
#include "platform/async/actor.hpp"
#include "platform/async/signal.hpp"
#include "platform/process/process_ledger.hpp"

namespace ravant {

class RavantTools;

struct RavantRunnerOptions {
  any_io_executor io;
  any_io_executor work;  ///< for what blocks
  std::shared_ptr<HttpEngine> http;
  std::shared_ptr<RavantProviderKey> keys;
  std::map<RavantProvider, std::string> baseAddresses;  ///< as configured
  HttpSessionOptions session = {};
  RetryPolicy retry = {};
  std::string shellPath;
  std::shared_ptr<ProcessLedger> processes;
};

/// The built-in agent: sends the conversation to a provider, executes the tool calls that the model asks for, and goes
/// on until the model asks for none.
class RavantAgentRunner final : public Actor, public AgentRunner {
 public:
  RavantAgentRunner(std::shared_ptr<ModelContainer> modelContainer, RavantRunnerOptions options);
  ~RavantAgentRunner() override;

  awaitable<void> send(AgentRunRequest request) override;
  awaitable<void> cancel(ConversationId conversationId) override;
  awaitable<void> shutdown() override;

 private:
  /// The messages sent in a conversation, and how many transcript entries they came from: another process can have
  /// added some.
  struct Memory {
    std::vector<RavantMessage> messages;
    std::size_t entries = 0;
  };
  /// A prompt in flight.
  struct Run;

  static std::string systemPrompt(const std::filesystem::path& workingDirectory);

  awaitable<void> runTurns(std::shared_ptr<Run> run);
  awaitable<void> prepare(std::shared_ptr<Run> run);
  awaitable<void> recall(std::shared_ptr<Run> run);
  awaitable<ChatTurn> streamTurn(std::shared_ptr<Run> run);
  awaitable<void> followStream(std::shared_ptr<Run> run);
  awaitable<void> announceGrowth(std::shared_ptr<Run> run);
  awaitable<void> emitAssistantText(std::shared_ptr<Run> run, ChatTurn turn);
  awaitable<void> callTools(std::shared_ptr<Run> run, std::vector<RavantToolCall> calls);
  awaitable<void> callTool(std::shared_ptr<Run> run, RavantToolCall call);
  awaitable<void> stop(std::shared_ptr<Run> run);

  std::shared_ptr<ModelContainer> modelContainer_;
  const RavantRunnerOptions options_;
  const int maxTurns_ = 24;
  Signal changed_;  ///< after any change of the state below
  std::map<ConversationId, Memory> transcripts_;
  std::map<ConversationId, std::shared_ptr<Run>> sending_;
};

}  // namespace ravant
