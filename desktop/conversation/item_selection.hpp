#pragma once

#include <algorithm>
#include <compare>
#include <optional>
#include <utility>

#include "core/conversation_item.hpp"

namespace ravant::desktop {

/// Where an item stands: by this, the items of a conversation are in order.
struct ItemPlace {
  Timestamp createdAt;
  ConversationItemId id;

  static ItemPlace of(const ConversationItem& item) { return {.createdAt = item.createdAt, .id = item.id}; }
  auto operator<=>(const ItemPlace&) const = default;
};

/// The items of a conversation from one to another, whether or not they are in what is shown of it.
class ItemSelection {
 public:
  bool isNone() const { return !ends_; }
  void clear() { ends_.reset(); }
  /// To the item; from the other one where nothing was selected.
  void extend(const ItemPlace& from, const ItemPlace& to) { ends_ = {ends_ ? ends_->first : from, to}; }
  bool contains(const ItemPlace& place) const { return ends_ && first() <= place && place <= last(); }
  /// Of a selection with items.
  ItemPlace first() const { return std::min(ends_->first, ends_->second); }
  ItemPlace last() const { return std::max(ends_->first, ends_->second); }

  bool operator==(const ItemSelection&) const = default;

 private:
  /// Where it was begun, and where it goes to.
  std::optional<std::pair<ItemPlace, ItemPlace>> ends_;
};

}  // namespace ravant::desktop
