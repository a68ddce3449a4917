#include "core/store/imported_pieces.hpp"

#include <utility>

#include "core/store/held_bytes.hpp"

namespace ravant {
namespace {

constexpr std::size_t kPieceBytes = 4 * 1024 * 1024;

}  // namespace

void ImportedPieces::read() {
  while (!isReadWhole_ && bytes_ < kPieceBytes) {
    auto item = next_();
    isReadWhole_ = !item;
    if (!item) return;
    bytes_ += heldBytes(*item);
    items_.push_back(std::move(*item));
  }
}

std::optional<ConversationItem> ImportedPieces::take(const WriteTurn& turn) {
  if (items_.empty() || turn.isOver()) return std::nullopt;
  ConversationItem item = std::move(items_.front());
  items_.pop_front();
  bytes_ -= heldBytes(item);
  return item;
}

}  // namespace ravant
