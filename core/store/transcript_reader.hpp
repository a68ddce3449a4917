#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "core/conversation_item.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class TranscriptReadings;

/// What stands at a transcript's end.
struct LastItem {
  ConversationItemId id;
  ConversationItemKind kind;
};

/// A prompt or a failure.
struct TranscriptMark {
  std::int64_t position;  ///< from 0, among the items that were read
  ConversationItemKind kind;
  bool isInterrupted = false;  ///< of a failure: it tells of an interrupted run

  bool operator==(const TranscriptMark&) const = default;
};

struct TranscriptMarks {
  std::int64_t items = 0;  ///< that were read
  std::optional<ConversationItemId> last = {};
  std::vector<TranscriptMark> marks = {};  ///< in order

  bool operator==(const TranscriptMarks&) const = default;
};

/// Where a page lies, seen from its anchor.
enum class PageDirection { before, after };

/// Reads transcripts on a connection of its own, so that a long one delays no writer. All throw
/// `StoreError`; what does not exist is empty.
class TranscriptReader : public StoreActor<TranscriptReadings> {
 public:
  static std::shared_ptr<TranscriptReader> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit TranscriptReader(std::shared_ptr<ModelContainer> modelContainer);
  ~TranscriptReader() override;

  /// Oldest first: the whole transcript, or its last items.
  awaitable<std::vector<ConversationItem>> items(ConversationId conversationId, std::optional<std::int64_t> last);
  /// At most `limit` items next to the anchor, without it, oldest first. Without an anchor: the last ones before the
  /// end, the first ones after the beginning. Fewer where they are large, but none only where there are none; takes
  /// memory for the page alone. An anchor that is no item of the conversation has nothing beside it.
  awaitable<std::vector<ConversationItem>> page(ConversationId conversationId, std::optional<ConversationItemId> anchor,
                                                PageDirection direction, std::int64_t limit);
  /// How many items of its conversation stand before the item.
  awaitable<std::optional<std::int64_t>> position(ConversationItemId id);
  awaitable<std::int64_t> count(ConversationId conversationId);
  /// The item behind which the last `count` stand; nothing where there are no more than those.
  awaitable<std::optional<ConversationItemId>> beforeLast(ConversationId conversationId, std::int64_t count);
  /// Of all items, or of those behind one of them; reads no item whole.
  awaitable<TranscriptMarks> marks(ConversationId conversationId, std::optional<ConversationItemId> behind);
  awaitable<std::optional<LastItem>> last(ConversationId conversationId);
  /// Of all conversations, the item that was added last, also where it is gone by now.
  awaitable<ConversationItemId> latestAdded();
  awaitable<std::optional<ConversationItem>> item(ConversationItemId id);
  /// The prompt that the item came of; a prompt's own is itself.
  awaitable<std::optional<ConversationItem>> promptOf(ConversationItemId id);
  awaitable<std::optional<ToolInvocation>> invocation(ToolInvocationId id);
};

}  // namespace ravant
