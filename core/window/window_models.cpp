#include "core/window/window_models.hpp"

namespace ravant {

WindowModels::WindowModels(StoreConnection& store)
    : project_(store.prepare("SELECT 1 FROM project WHERE uuid = ?")),
      conversation_(store.prepare("SELECT 1 FROM conversation WHERE uuid = ? AND importer IS NULL")),
      pinnedItem_(store.prepare("SELECT 1 FROM pinned_item WHERE uuid = ?")),
      integration_(store.prepare("SELECT 1 FROM integration WHERE uuid = ? AND kind = ?")),
      pullRequest_(store.prepare("SELECT 1 FROM github_pull_request WHERE id = ?")),
      issue_(store.prepare("SELECT 1 FROM linear_issue WHERE id = ?")) {}

}  // namespace ravant
