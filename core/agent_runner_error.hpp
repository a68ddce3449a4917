#pragma once

#include <stdexcept>
#include <string>

namespace ravant {

/// What runners throw. `what()` is the text that the transcript shows.
class AgentRunnerError : public std::runtime_error {
 public:
  enum class Case { agentExitedSilently, rpc, busy, spawnFailed, processDied, notConnected };

  /// The agent's command ended without finishing its turn; `standardError` is what it wrote there.
  static AgentRunnerError agentExitedSilently(std::string standardError);
  /// The agent answered a request with an error.
  static AgentRunnerError rpc(std::string message);
  /// `kind` is one of the cases without a payload.
  explicit AgentRunnerError(Case kind) : AgentRunnerError(kind, {}) {}

  Case kind() const { return kind_; }

 private:
  AgentRunnerError(Case kind, const std::string& payload);

  Case kind_;
};

/// The agent itself reported that its run failed; `what()` is the agent's own text.
class AgentReportedError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The prompt's conversation is no longer in the store.
class ConversationGoneError : public std::runtime_error {
 public:
  ConversationGoneError() : std::runtime_error("the conversation was deleted; the agent was stopped") {}
};

/// A queued prompt that was not sent, because it was sent, changed or removed meanwhile, or another prompt runs. The
/// queue is as it was.
class QueuedPromptNotSentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A prompt that cannot be given to the agent; `what()` says why, and names the limit where there is one.
class PromptRefusedError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace ravant
