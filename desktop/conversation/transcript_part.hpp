#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/store/transcript_reader.hpp"

namespace ravant::desktop {

/// Items of a conversation that stand beside each other.
struct TranscriptPart {
  std::vector<ConversationItem> items;
  std::int64_t first = 0;  ///< position of the first of them
  std::int64_t count = 0;  ///< of the whole conversation
  bool isAtEnd = true;
};

struct PlaceAmongAll {
  std::int64_t position;
  std::int64_t count;
};

/// The last items, at most so many. Throws `StoreError`, as the other one.
awaitable<TranscriptPart> partAtEnd(std::shared_ptr<TranscriptReader> reader, ConversationId conversation,
                                    std::int64_t items);
/// The item with at most so many on each side; nothing where it is not, or not any more. `known` where its place was
/// read.
awaitable<std::optional<TranscriptPart>> partAround(std::shared_ptr<TranscriptReader> reader,
                                                    ConversationId conversation, ConversationItemId target,
                                                    std::int64_t itemsOfSide, std::optional<PlaceAmongAll> known = {});

}  // namespace ravant::desktop
