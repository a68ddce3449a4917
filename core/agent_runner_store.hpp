#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "core/agent.hpp"
#include "core/agent_runner.hpp"
#include "core/id.hpp"
#include "core/prompt_end_reason.hpp"
#include "platform/async/async.hpp"

namespace ravant {

class NotificationCenter;

/// Posted when a prompt has ended; the object is the conversation's id.
inline constexpr std::string_view kShellPromptFinished = "ravant_shell_prompt_finished";
/// The key of the reason's text in the user information of `kShellPromptFinished`.
inline constexpr std::string_view kPromptEndReasonKey = "ravant_prompt_end_reason";
/// Posted after any change of `AgentRunnerStore::activeConversations`; the object is the conversation's id.
inline constexpr std::string_view kActiveConversationsChanged = "ravant_active_conversations_changed";

/// How many conversations' shells or agents are kept for their next prompts.
inline constexpr std::size_t kMostIdleShells = 8;

/// Hands prompts to the runners: one runner for each conversation of a shell-driven agent, one
/// shared runner for each other type, made when a conversation first needs it. Of the shells, and of the agents that
/// have a process for each conversation, those in which no prompt runs and that were used last are kept.
///
/// Bound to the interface thread: every operation is called, and resumes, on the interface's
/// executor. Several conversations run at once.
class AgentRunnerStore {
 public:
  AgentRunnerStore(std::shared_ptr<ModelContainer> modelContainer, std::shared_ptr<RunnerFactory> factory,
                   std::shared_ptr<NotificationCenter> notifications);

  /// Keeps other prompts out of a conversation from before its prompt is sent until it has ended.
  class Claim {
   public:
    ~Claim() { store_->claimed_.erase(id_); }
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

   private:
    friend class AgentRunnerStore;
    Claim(AgentRunnerStore& store, ConversationId id) : store_(&store), id_(id) {}

    AgentRunnerStore* store_;
    ConversationId id_;
  };
  /// Null where the conversation is claimed or has a prompt in flight.
  std::unique_ptr<Claim> claim(ConversationId conversationId);

  /// Runs one prompt to its end. A failure becomes one failure item in the transcript and the
  /// reason `failed`; what is thrown is the store's own error where that item could not be written.
  /// A prompt that is refused because another one runs leaves that one running and announced. A queued prompt that is
  /// not sent leaves nothing: `QueuedPromptNotSentError` is thrown, and its end is not announced; so after `shutdown`
  /// began.
  awaitable<PromptEndReason> send(AgentRunRequest request, Agent agent);

  /// Stops the prompt in flight and announces it as cancelled, also where no runner exists.
  awaitable<void> cancelRunner(ConversationId conversationId);

  /// The runner for a conversation and agent, created if missing.
  std::shared_ptr<AgentRunner> runner(ConversationId conversationId, const Agent& agent);

  void notifyPromptFinished(ConversationId conversationId, PromptEndReason reason);

  /// Conversations with a prompt in flight.
  std::set<ConversationId> activeConversations() const;

  /// Ends what runs for conversations that are no more, whichever process removed them, until the change feed stops.
  /// Returns at once where another call does so.
  awaitable<void> followRemovals();

  /// Stops what is in flight, announced as cancelled, and ends every runner's processes, all runners at once. What
  /// agents detached goes on.
  awaitable<void> shutdown();

 private:
  struct Prompt {
    std::shared_ptr<AgentRunner> runner;
    bool isCancelled = false;
  };

  std::shared_ptr<AgentRunner>& runnerSlot(ConversationId conversationId, AgentType type);
  awaitable<void> recordFailure(ConversationId conversationId, std::string description);
  bool markEnded(ConversationId conversationId, const std::shared_ptr<Prompt>& prompt);
  void announceActiveConversations(ConversationId conversationId);
  awaitable<void> keepLatest(ConversationId used, std::shared_ptr<AgentRunner> runner);
  std::vector<std::shared_ptr<AgentRunner>> sharedRunners() const;
  void removeIdle(ConversationId conversationId);
  awaitable<void> endRunnersOfRemoved();

  std::shared_ptr<ModelContainer> modelContainer_;
  std::shared_ptr<RunnerFactory> factory_;
  std::shared_ptr<NotificationCenter> notifications_;
  std::map<ConversationId, std::shared_ptr<AgentRunner>> shellRunners_;
  std::set<ConversationId> sharing_;  ///< the conversations of the shared runners
  /// Who has a process without a prompt; the one that was used last is the last.
  std::list<std::pair<ConversationId, std::shared_ptr<AgentRunner>>> idle_;
  bool isFollowingRemovals_ = false;
  bool isShutDown_ = false;
  std::shared_ptr<AgentRunner> codexRunner_;
  std::shared_ptr<AgentRunner> cursorRunner_;
  std::shared_ptr<AgentRunner> ravantRunner_;
  std::map<ConversationId, std::shared_ptr<Prompt>> inFlight_;
  std::set<ConversationId> claimed_;
};

}  // namespace ravant
