#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/queued_prompt.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class QueuedPromptOperations;

/// The prompts that wait in conversations. What is added, changed or removed survives a power cut. A prompt leaves the
/// queue in the transaction that appends it to the transcript (`ConversationItemModelActor::appendUserPrompt`), so that
/// of several programs one sends it. All throw `StoreError`.
class QueuedPromptStore : public StoreActor<QueuedPromptOperations> {
 public:
  static std::shared_ptr<QueuedPromptStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit QueuedPromptStore(std::shared_ptr<ModelContainer> modelContainer);
  ~QueuedPromptStore() override;

  /// Behind the others. Nothing where the conversation is unknown.
  awaitable<std::optional<QueuedPromptId>> add(ConversationId conversationId, QueuedText text);
  /// False where it waits no more.
  awaitable<bool> edit(QueuedPromptId id, QueuedText text);
  /// Puts the named prompts first, in that order; the others follow as they were.
  awaitable<void> reorder(ConversationId conversationId, std::vector<QueuedPromptId> orderedIds);
  /// The prompt as it was; nothing where it waits no more.
  awaitable<std::optional<QueuedPrompt>> remove(QueuedPromptId id);

  /// The next to be sent first.
  awaitable<std::vector<QueuedPrompt>> prompts(ConversationId conversationId);
  awaitable<std::optional<QueuedPrompt>> next(ConversationId conversationId);
  /// Those in which prompts wait.
  awaitable<std::vector<ConversationId>> conversations();
};

}  // namespace ravant
