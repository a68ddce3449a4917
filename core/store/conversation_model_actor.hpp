#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/agent_type.hpp"
#include "core/conversation.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class ConversationOperations;

/// A conversation as a list shows it.
struct ConversationSummary {
  Conversation conversation;
  std::string projectName;
  std::optional<AgentType> agentType;
  std::int64_t items;                     ///< entries of the transcript
  std::optional<std::string> firstWords;  ///< the beginning of the first prompt; only where there is no title

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
  /// Takes the transcript with it. Throws `InUseError` while a prompt runs in it, in this process or another,
  /// and `PartlyRemovedError` where a full disk let it be removed in pieces only and one of them could not.
  awaitable<void> deleteConversation(ConversationId conversationId);
  /// Without a session id, what was stored is forgotten.
  awaitable<void> updateResumedSessionId(ConversationId conversationId, std::optional<std::string> sessionId);
  awaitable<void> updateLastPromptSettings(ConversationId conversationId, std::string modelId,
                                           std::optional<std::string> effort);

  /// Whether another living process runs a prompt in it.
  awaitable<bool> isRunElsewhere(ConversationId conversationId);

  awaitable<std::optional<ConversationSummary>> conversation(ConversationId conversationId);
  /// Latest activity first.
  awaitable<std::vector<ConversationSummary>> conversations(ConversationQuery query);
  /// Those whose id begins with these digits, given in lower case and without hyphens, latest activity first.
  awaitable<std::vector<ConversationSummary>> conversationsWithPrefix(std::string idPrefix);
};

}  // namespace ravant
