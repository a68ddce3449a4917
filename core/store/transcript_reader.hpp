#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/conversation_item.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class TranscriptReadings;

/// Reads transcripts on a connection of its own, so that a long one delays no writer. All throw
/// `StoreError`; what does not exist is empty.
class TranscriptReader : public StoreActor<TranscriptReadings> {
 public:
  static std::shared_ptr<TranscriptReader> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit TranscriptReader(std::shared_ptr<ModelContainer> modelContainer);
  ~TranscriptReader() override;

  /// Oldest first: the whole transcript, or its last items.
  awaitable<std::vector<ConversationItem>> items(ConversationId conversationId, std::optional<std::int64_t> last);
  awaitable<std::optional<ConversationItem>> item(ConversationItemId id);
  /// The prompt that the item came of; a prompt's own is itself.
  awaitable<std::optional<ConversationItem>> promptOf(ConversationItemId id);
  awaitable<std::optional<ToolInvocation>> invocation(ToolInvocationId id);
};

}  // namespace ravant
