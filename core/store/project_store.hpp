#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/project.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class ProjectOperations;

/// Creates, changes and lists projects. Every operation but `remove` is one transaction. All throw
/// `StoreError`; those that return a bool say whether the project exists.
class ProjectStore : public StoreActor<ProjectOperations> {
 public:
  static std::shared_ptr<ProjectStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit ProjectStore(std::shared_ptr<ModelContainer> modelContainer);
  ~ProjectStore() override;

  /// Adds the folder behind the others, expanded. A folder that is a project already is returned as
  /// it stands. `path` is absolute and normal.
  awaitable<Project> create(std::filesystem::path path, std::string name);
  awaitable<bool> rename(ProjectId id, std::string name);
  /// Where the project's folder is, as of `create`. False also where that is another project's.
  awaitable<bool> setPath(ProjectId id, std::filesystem::path path);
  awaitable<bool> setExpandedInSidebar(ProjectId id, bool expanded);
  /// Puts the named projects first, in that order; the others follow as they were.
  awaitable<void> reorder(std::vector<ProjectId> orderedIds);
  /// Takes the project's conversations out of the store too; the folder stays. Throws `InUseError` while a prompt runs
  /// in one of them, in this process or another. Where they are more than one short transaction removes, all are gone
  /// and announced at once, and the project, which others can use until then, in the end. What is cut or fails in
  /// between goes on when it is called again.
  awaitable<bool> remove(ProjectId id);

  /// In the order of the sidebar.
  awaitable<std::vector<Project>> projects();
};

}  // namespace ravant
