#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/store/store_actor.hpp"
#include "core/window/window_selection_snapshot.hpp"

namespace ravant {

class WindowSelectionOperations;

/// What windows showed last, and what of their selections is still there. All operations throw `StoreError`.
class WindowSelectionStore : public StoreActor<WindowSelectionOperations> {
 public:
  using Selection = WindowNavigationHistory::Snapshot;

  static std::shared_ptr<WindowSelectionStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit WindowSelectionStore(std::shared_ptr<ModelContainer> modelContainer);
  ~WindowSelectionStore() override;

  /// `busy` at once where another writer is at work.
  awaitable<void> save(std::string window, WindowSelectionSnapshot snapshot);
  /// What `remaining` says of the window's last selection; the latest conversations where none is known.
  awaitable<Selection> lastSelection(std::string window);

  /// The selection without a detail that is gone, with the latest conversations in place of a content that is gone, or
  /// where nothing is left.
  awaitable<Selection> remaining(Selection selection);
  /// Those of which a part is gone.
  awaitable<std::vector<Selection>> gone(std::vector<Selection> selections);

  /// Where a new conversation belongs that is begun beside this selection: the selected project, the one of the shown
  /// conversation, else the one with the latest activity. Nothing where there is no project.
  awaitable<std::optional<ProjectId>> projectBeside(Selection selection);
};

}  // namespace ravant
