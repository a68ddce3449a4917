#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/integrations/pinned_item.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class PinnedItemOperations;

/// Creates, changes and lists pinned views. All operations throw `StoreError`; those that return a bool say whether the
/// view exists.
class PinnedItemStore : public StoreActor<PinnedItemOperations> {
 public:
  static std::shared_ptr<PinnedItemStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit PinnedItemStore(std::shared_ptr<ModelContainer> modelContainer);
  ~PinnedItemStore() override;

  /// Behind the others. A title of white space is none. Throws `std::runtime_error` "unknown integration " with the id.
  awaitable<PinnedItem> create(PinnedItem::Detail detail, std::optional<std::string> customTitle);
  /// Throws also as `create`.
  awaitable<bool> update(PinnedItemId id, PinnedItem::Detail detail, std::optional<std::string> customTitle);
  /// Puts the named views first, in that order; the others follow as they were.
  awaitable<void> reorder(std::vector<PinnedItemId> orderedIds);
  awaitable<bool> remove(PinnedItemId id);

  /// In the order of the sidebar.
  awaitable<std::vector<PinnedItem>> pinnedItems();
};

}  // namespace ravant
