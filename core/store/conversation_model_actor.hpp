#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/agent_type.hpp"
#include "core/conversation.hpp"
#include "core/store/store_actor.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

class ConversationOperations;

/// A prompt in flight.
struct LivingRun {
  enum class Place { here, elsewhere };

  Place place;  ///< in this process, or in another living one
  Timestamp since;

  bool operator==(const LivingRun&) const = default;
};

/// How a transcript ends: with a failure; with the notice that Ravant ended while a prompt ran, or without it, where
/// nobody put the transcript in order yet; or with anything else.
enum class TranscriptEnd { ordinary, failed, interrupted };

/// A conversation as a list shows it.
struct ConversationSummary {
  Conversation conversation;
  std::string projectName;
  std::optional<AgentType> agentType;
  std::int64_t items;                     ///< entries of the transcript
  std::optional<std::string> firstWords;  ///< the beginning of the first prompt; only where there is no title
  std::int64_t unread = 0;                ///< items that were added since it was looked at
  std::optional<LivingRun> run = {};
  TranscriptEnd end = TranscriptEnd::ordinary;
  bool hasDraft = false;

  bool operator==(const ConversationSummary&) const = default;
};

enum class ArchivedConversations { left, only, included };

struct ConversationQuery {
  std::optional<ProjectId> project;
  ArchivedConversations archived = ArchivedConversations::left;
  std::optional<std::int64_t> limit;
};

/// Creates, changes and lists conversations. Every operation is one transaction; one with an unknown
/// id is logged and does nothing. All throw `StoreError`.
class ConversationModelActor : public StoreActor<ConversationOperations> {
 public:
  static std::shared_ptr<ConversationModelActor> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit ConversationModelActor(std::shared_ptr<ModelContainer> modelContainer);
  ~ConversationModelActor() override;

  /// Nothing when the project or agent is unknown.
  awaitable<std::optional<ConversationId>> createConversation(ProjectId projectId, std::optional<AgentId> agentId,
                                                              std::optional<WorkItem> workItem = {});
  awaitable<void> renameConversation(ConversationId conversationId, std::optional<std::string> title);
  awaitable<void> archiveConversation(ConversationId conversationId);
  awaitable<void> unarchiveConversation(ConversationId conversationId);
  /// Takes the transcript with it. What takes longer than one transaction may is gone for everybody after the first;
  /// others write between them, and what is left where the process is killed goes with the next deletion, import or
  /// `removeLeftovers`.
  /// Throws `InUseError` while a prompt runs in it, in this process or another.
  awaitable<void> deleteConversation(ConversationId conversationId);
  /// Removes what processes that were killed have left of conversations; what cannot be removed stays.
  awaitable<void> removeLeftovers();
  /// Without a session id, what was stored is forgotten.
  awaitable<void> updateResumedSessionId(ConversationId conversationId, std::optional<std::string> sessionId);
  awaitable<void> updateLastPromptSettings(ConversationId conversationId, std::string modelId,
                                           std::optional<std::string> effort);

  /// The item and all that were added before it count as looked at; it never goes back. Nothing where the item is not
  /// of the conversation. Survives the death of the process.
  awaitable<void> markSeen(ConversationId conversationId, ConversationItemId upTo);
  /// Of those that were added since the conversation was looked at, the first of the transcript.
  awaitable<std::optional<ConversationItemId>> firstUnread(ConversationId conversationId);

  /// Whether another living process runs a prompt in it.
  awaitable<bool> isRunElsewhere(ConversationId conversationId);

  awaitable<std::optional<ConversationSummary>> conversation(ConversationId conversationId);
  /// Latest activity first.
  awaitable<std::vector<ConversationSummary>> conversations(ConversationQuery query);
  /// Those whose id begins with these digits, given in lower case and without hyphens, latest activity first.
  awaitable<std::vector<ConversationSummary>> conversationsWithPrefix(std::string idPrefix);
};

}  // namespace ravant
