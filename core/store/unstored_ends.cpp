#include "core/store/unstored_ends.hpp"

#include <utility>

namespace ravant {

void UnstoredEnds::add(ConversationId id, RunEnd end) {
  const std::scoped_lock lock(mutex_);
  ends_.insert_or_assign(id, std::move(end));
}

void UnstoredEnds::remove(ConversationId id) {
  const std::scoped_lock lock(mutex_);
  ends_.erase(id);
}

std::optional<RunEnd> UnstoredEnds::find(ConversationId id) const {
  const std::scoped_lock lock(mutex_);
  const auto found = ends_.find(id);
  return found == ends_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace ravant
