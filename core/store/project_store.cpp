#include "core/store/project_store.hpp"

#include "core/store/ordered_rows.hpp"
#include "core/store/partial_conversations.hpp"
#include "core/store/row_values.hpp"
#include "core/store/run_table.hpp"
#include "core/store/store_connection.hpp"
#include "core/store/write_turn.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");

Project readProject(const sqlite::Query& row) {
  return {.id = readId<ProjectId>(row, 0),
          .path = readText(row, 1),
          .name = readText(row, 2),
          .createdAt = readTime(row, 3),
          .expandedInSidebar = row.boolean(4),
          .sidebarOrder = row.int64(5)};
}

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class ProjectOperations {
 public:
  explicit ProjectOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        insert_(store_.prepare("INSERT INTO project (uuid, path, name, created_at, expanded_in_sidebar, sidebar_order) "
                               "VALUES (?, ?, ?, ?, 1, (SELECT coalesce(max(sidebar_order) + 1, 0) FROM project)) "
                               "ON CONFLICT (path) DO NOTHING RETURNING 1")),
        byPath_(store_.prepare("SELECT uuid, path, name, created_at, expanded_in_sidebar, sidebar_order FROM project "
                               "WHERE path = ?")),
        all_(store_.prepare("SELECT uuid, path, name, created_at, expanded_in_sidebar, sidebar_order FROM project "
                            "ORDER BY sidebar_order, id")),
        rename_(store_.prepare("UPDATE project SET name = ? WHERE uuid = ? RETURNING 1")),
        setPath_(store_.prepare("UPDATE OR IGNORE project SET path = ? WHERE uuid = ? RETURNING 1")),
        setExpanded_(store_.prepare("UPDATE project SET expanded_in_sidebar = ? WHERE uuid = ? RETURNING 1")),
        setOrder_(store_.prepare("UPDATE project SET sidebar_order = ? WHERE uuid = ?")),
        delete_(store_.prepare("DELETE FROM project WHERE uuid = ? RETURNING 1")),
        partial_(store_),
        livingRuns_(store_) {}

  Project create(const std::string& path, const std::string& name) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      const ProjectId id(Uuid::random());
      if (insert_.query(bound(id), path, name, bound(store_.now())).step()) changes.inserted(id);
      auto row = byPath_.query(path);
      row.step();
      return readProject(row);
    });
  }

  bool rename(ProjectId id, const std::string& name) { return update("rename", rename_, id, name); }
  bool setPath(ProjectId id, const std::string& path) { return update("setPath", setPath_, id, path); }
  bool setExpanded(ProjectId id, bool expanded) { return update("setExpandedInSidebar", setExpanded_, id, expanded); }

  void reorder(const std::vector<ProjectId>& wanted) {
    store_.write(Durability::powerCut, [&](Changes& changes) {
      std::vector<ProjectId> present;
      for (const Project& project : readAll()) present.push_back(project.id);
      std::int64_t position = 0;
      for (const ProjectId& id : wanted) {
        if (std::ranges::find(present, id) == present.end()) logUnknown("reorder", id);
      }
      for (const ProjectId& id : reordered(present, wanted)) {
        setOrder_.run(position++, bound(id));
        changes.updated(id);
      }
    });
  }

  bool remove(ProjectId id) {
    auto left = beginRemoval(id);
    if (!left) return logUnknown("remove", id);
    // Others can begin conversations in between.
    while (left && !left->empty()) {
      WriteTurn::letOthersWrite();
      partial_.remove(*left);
      left = goOnRemoving(id);
    }
    partial_.removeDead();
    return true;
  }

  std::vector<Project> projects() {
    return store_.read([&] { return readAll(); });
  }

 private:
  /// What is left of its conversations; nothing for an unknown project.
  using Left = std::optional<std::vector<ConversationId>>;

  Left beginRemoval(ProjectId id) {
    return PartialConversations::asMuchAsFits([&](auto amount) { return beginRemoval(id, amount); });
  }

  /// Removes the project itself where no conversation is left.
  Left beginRemoval(ProjectId id, PartialConversations::Amount amount) {
    return store_.write(
        Durability::powerCut,
        [&](Changes& changes) -> Left {
          livingRuns_.refuseRemoval(id);
          auto left = partial_.beginRemoval(id, amount, changes);
          if (!left.empty()) return left;
          if (!delete_.query(bound(id)).step()) return std::nullopt;
          changes.removed(id);
          return left;
        },
        FullDisk::takesReserve);
  }

  Left goOnRemoving(ProjectId id) {
    try {
      return beginRemoval(id);
    } catch (const InUseError&) {
      throw InUseError("a prompt is running in a conversation that was begun in this project meanwhile",
                       "the project's other conversations were removed");
    }
  }

  static bool logUnknown(std::string_view operation, ProjectId id) {
    kLog.error("{} called with unknown id {}", operation, id.text());
    return false;
  }

  template <class Value>
  bool update(std::string_view operation, sqlite::Statement& statement, ProjectId id, const Value& value) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      if (!statement.query(value, bound(id)).step()) return logUnknown(operation, id);
      changes.updated(id);
      return true;
    });
  }

  std::vector<Project> readAll() {
    std::vector<Project> projects;
    auto row = all_.query();
    while (row.step()) projects.push_back(readProject(row));
    return projects;
  }

  StoreConnection store_;
  sqlite::Statement insert_;
  sqlite::Statement byPath_;
  sqlite::Statement all_;
  sqlite::Statement rename_;
  sqlite::Statement setPath_;
  sqlite::Statement setExpanded_;
  sqlite::Statement setOrder_;
  sqlite::Statement delete_;
  PartialConversations partial_;
  LivingRuns livingRuns_;
};

std::shared_ptr<ProjectStore> ProjectStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<ProjectStore>(std::move(modelContainer));
}

ProjectStore::ProjectStore(std::shared_ptr<ModelContainer> modelContainer) : StoreActor(std::move(modelContainer)) {}

ProjectStore::~ProjectStore() = default;

awaitable<Project> ProjectStore::create(std::filesystem::path path, std::string name) {
  return perform(
      [path = path.string(), name = std::move(name)](auto& operations) { return operations.create(path, name); });
}

awaitable<bool> ProjectStore::rename(ProjectId id, std::string name) {
  return perform([id, name = std::move(name)](auto& operations) { return operations.rename(id, name); });
}

awaitable<bool> ProjectStore::setPath(ProjectId id, std::filesystem::path path) {
  return perform([id, path = path.string()](auto& operations) { return operations.setPath(id, path); });
}

awaitable<bool> ProjectStore::setExpandedInSidebar(ProjectId id, bool expanded) {
  return perform([=](auto& operations) { return operations.setExpanded(id, expanded); });
}

awaitable<void> ProjectStore::reorder(std::vector<ProjectId> orderedIds) {
  return perform([orderedIds = std::move(orderedIds)](auto& operations) { operations.reorder(orderedIds); });
}

awaitable<bool> ProjectStore::remove(ProjectId id) {
  return perform([=](auto& operations) { return operations.remove(id); });
}

awaitable<std::vector<Project>> ProjectStore::projects() {
  return perform([](auto& operations) { return operations.projects(); });
}

}  // namespace ravant
