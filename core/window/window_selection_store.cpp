#include "core/window/window_selection_store.hpp"

#include <utility>

#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"
#include "core/window/window_selection_wire.hpp"

namespace ravant {
namespace {

constexpr std::chrono::milliseconds kPatience{50};  // what could not be stored is stored again

using Selection = WindowSelectionStore::Selection;

template <class Wanted, class Chosen>
const Wanted* chosenAs(const std::optional<Chosen>& chosen) {
  return chosen ? std::get_if<Wanted>(&*chosen) : nullptr;
}

Selection withFallback(const WindowSelectionSnapshot& stored, Selection found) {
  const bool isContentGone = stored.content && !found.content;
  if (isContentGone || found.isEmpty()) found.content = LatestConversations();
  return found;
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class WindowSelectionOperations {
 public:
  explicit WindowSelectionOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        models_(store_),
        save_(store_.prepare("INSERT INTO window_selection (window, snapshot, changed_at) VALUES (?1, ?2, ?3) "
                             "ON CONFLICT DO UPDATE SET snapshot = ?2, changed_at = ?3")),
        last_(store_.prepare("SELECT snapshot FROM window_selection WHERE window = ?")),
        projectOf_(store_.prepare("SELECT project.uuid FROM conversation JOIN project ON project.id = project_id "
                                  "WHERE conversation.uuid = ? AND importer IS NULL")),
        latestProject_(store_.prepare(
            "SELECT uuid FROM project ORDER BY (SELECT max(last_activity_at) FROM conversation "
            "WHERE project_id = project.id AND importer IS NULL) DESC NULLS LAST, sidebar_order, id LIMIT 1")) {}

  void save(const std::string& window, const WindowSelectionSnapshot& snapshot) {
    store_.waitAtMost(kPatience);
    store_.write(Durability::processDeath,
                 [&](Changes&) { save_.run(window, encoded(snapshot), bound(store_.now())); });
  }

  Selection lastSelection(const std::string& window) {
    return store_.read([&] {
      WindowSelectionSnapshot stored;
      auto row = last_.query(window);
      if (row.step()) stored = decodedWindowSelection(row.text(0));
      return withFallback(stored, stored.resolve(models_));
    });
  }

  Selection remaining(const Selection& selection) {
    return store_.read([&] {
      const WindowSelectionSnapshot snapshot(selection);
      return withFallback(snapshot, snapshot.resolve(models_));
    });
  }

  std::vector<Selection> gone(const std::vector<Selection>& selections) {
    return store_.read([&] {
      std::vector<Selection> found;
      for (const Selection& selection : selections) {
        if (WindowSelectionSnapshot(selection).resolve(models_) != selection) found.push_back(selection);
      }
      return found;
    });
  }

  std::optional<ProjectId> projectBeside(const Selection& selection) {
    return store_.read([&]() -> std::optional<ProjectId> {
      const auto* page = chosenAs<NewConversation>(selection.detail);
      if (page && models_.contains(page->project)) return page->project;
      const auto* project = chosenAs<ProjectId>(selection.content);
      if (project && models_.contains(*project)) return *project;
      if (const auto* conversation = chosenAs<ConversationId>(selection.detail)) {
        auto row = projectOf_.query(bound(*conversation));
        if (row.step()) return readId<ProjectId>(row, 0);
      }
      auto row = latestProject_.query();
      return row.step() ? std::optional(readId<ProjectId>(row, 0)) : std::nullopt;
    });
  }

 private:
  StoreConnection store_;
  WindowModels models_;
  sqlite::Statement save_;
  sqlite::Statement last_;
  sqlite::Statement projectOf_;
  sqlite::Statement latestProject_;
};

std::shared_ptr<WindowSelectionStore> WindowSelectionStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<WindowSelectionStore>(std::move(modelContainer));
}

WindowSelectionStore::WindowSelectionStore(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

WindowSelectionStore::~WindowSelectionStore() = default;

awaitable<void> WindowSelectionStore::save(std::string window, WindowSelectionSnapshot snapshot) {
  return perform([window = std::move(window), snapshot = std::move(snapshot)](auto& operations) {
    operations.save(window, snapshot);
  });
}

awaitable<Selection> WindowSelectionStore::lastSelection(std::string window) {
  return perform([window = std::move(window)](auto& operations) { return operations.lastSelection(window); });
}

awaitable<Selection> WindowSelectionStore::remaining(Selection selection) {
  return perform([selection = std::move(selection)](auto& operations) { return operations.remaining(selection); });
}

awaitable<std::vector<Selection>> WindowSelectionStore::gone(std::vector<Selection> selections) {
  return perform([selections = std::move(selections)](auto& operations) { return operations.gone(selections); });
}

awaitable<std::optional<ProjectId>> WindowSelectionStore::projectBeside(Selection selection) {
  return perform([selection = std::move(selection)](auto& operations) { return operations.projectBeside(selection); });
}

}  // namespace ravant
