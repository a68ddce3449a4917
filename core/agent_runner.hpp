#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/agent_type.hpp"
#include "core/id.hpp"
#include "core/prompt_choice.hpp"
#include "platform/async/async.hpp"

namespace ravant {

class ModelContainer;

/// One prompt submission, handed unchanged to the runner.
struct AgentRunRequest {
  std::string prompt;
  std::string model;  ///< slug
  std::optional<std::string> effort;
  ConversationId conversationId;
  std::filesystem::path workingDirectory;  ///< the project's folder; the agent runs there
  std::optional<std::string> resumedSessionId;
  std::string binaryPath;                                  ///< as configured on the agent
  std::optional<std::vector<std::string>> arguments = {};  ///< as configured on the agent
  std::optional<QueuedPrompt> queued = {};                 ///< where the prompt waited in the conversation's queue

  PromptChoice choice() const { return {.model = model, .effort = effort, .queued = queued}; }
};

/// Runs prompts with one kind of agent. Its operations may be called from any executor.
class AgentRunner {
 public:
  virtual ~AgentRunner() = default;

  /// Runs the prompt to its end and writes everything the agent emits into the transcript, the
  /// prompt first. Returns when the agent's turn is over, also when it was cancelled; throws when
  /// the run failed, and `QueuedPromptNotSentError` where a queued prompt could not be taken out of the queue.
  virtual awaitable<void> send(AgentRunRequest request) = 0;

  /// Stops the prompt in flight for that conversation, if any; returns when its processes are gone, those too that it
  /// detached.
  virtual awaitable<void> cancel(ConversationId conversationId) = 0;

  /// Ends what is kept for the conversation's next prompt; nothing where one runs, or where nothing is kept.
  virtual awaitable<void> release(ConversationId /*conversationId*/) { co_return; }

  /// Stops every prompt in flight and ends every process the runner holds; what agents detached goes on. Nothing is
  /// sent afterwards.
  virtual awaitable<void> shutdown() = 0;
};

/// Makes the runner of an agent type.
class RunnerFactory {
 public:
  virtual ~RunnerFactory() = default;

  /// Never null: a type that cannot run gets a runner whose `send` fails and says why.
  virtual std::shared_ptr<AgentRunner> makeRunner(AgentType type, std::shared_ptr<ModelContainer> modelContainer) = 0;
};

}  // namespace ravant
