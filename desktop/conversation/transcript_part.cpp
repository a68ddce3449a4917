#include "desktop/conversation/transcript_part.hpp"

#include <algorithm>
#include <iterator>

namespace ravant::desktop {

awaitable<TranscriptPart> partAtEnd(std::shared_ptr<TranscriptReader> reader, ConversationId conversation,
                                    std::int64_t items) {
  TranscriptPart part;
  part.items = co_await reader->page(conversation, std::nullopt, PageDirection::before, items);
  if (!part.items.empty()) part.first = (co_await reader->position(part.items.front().id)).value_or(0);
  part.count = part.first + static_cast<std::int64_t>(part.items.size());
  co_return part;
}

awaitable<std::optional<TranscriptPart>> partAround(std::shared_ptr<TranscriptReader> reader,
                                                    ConversationId conversation, ConversationItemId target,
                                                    std::int64_t itemsOfSide, std::optional<PlaceAmongAll> known) {
  auto item = co_await reader->item(target);
  if (!item || item->conversation != conversation) co_return std::nullopt;
  TranscriptPart part;
  part.items = co_await reader->page(conversation, target, PageDirection::before, itemsOfSide);
  const auto before = static_cast<std::int64_t>(part.items.size());
  part.items.push_back(*std::move(item));
  auto after = co_await reader->page(conversation, target, PageDirection::after, itemsOfSide);
  const bool isLast = after.empty();
  std::ranges::move(after, std::back_inserter(part.items));
  if (!known) {
    const auto position = co_await reader->position(target);
    if (!position) co_return std::nullopt;
    known = {.position = *position, .count = co_await reader->count(conversation)};
  }
  part.count = known->count;
  part.first = known->position - before;
  part.isAtEnd = isLast || part.first + static_cast<std::int64_t>(part.items.size()) >= part.count;
  co_return part;
}

}  // namespace ravant::desktop
