#include "integrations/linear/linear_integration_store.hpp"

#include <utility>

#include "core/store/row_values.hpp"
#include "core/store/store_connection.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.integrations.linear", "LinearIntegrationStore");

LinearIntegration readIntegration(const sqlite::Query& row) {
  return {.id = readId<LinearIntegrationId>(row, 0),
          .workspaceUrlKey = readText(row, 1),
          .workspaceName = readText(row, 2),
          .userName = readText(row, 3),
          .userEmail = readText(row, 4),
          .createdAt = readTime(row, 5)};
}

}  // namespace

class LinearIntegrationOperations {
 public:
  explicit LinearIntegrationOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        put_(store_.prepare("INSERT INTO integration (uuid, kind, workspace_url_key, workspace_name, user_name, "
                            "user_email, created_at) VALUES (?, 'linear', ?, ?, ?, ?, ?) "
                            "ON CONFLICT (workspace_url_key, user_email) DO UPDATE SET "
                            "workspace_name = excluded.workspace_name, user_name = excluded.user_name")),
        byId_(store_.prepare("SELECT uuid, workspace_url_key, workspace_name, user_name, user_email, created_at "
                             "FROM integration WHERE uuid = ? AND kind = 'linear'")),
        byUser_(store_.prepare("SELECT uuid, workspace_url_key, workspace_name, user_name, user_email, created_at "
                               "FROM integration WHERE workspace_url_key = ? AND user_email = ?")),
        all_(store_.prepare("SELECT uuid, workspace_url_key, workspace_name, user_name, user_email, created_at "
                            "FROM integration WHERE kind = 'linear' ORDER BY id")),
        delete_(store_.prepare("DELETE FROM integration WHERE uuid = ? AND kind = 'linear' RETURNING 1")) {}

  LinearIntegration create(const LinearIdentity& identity) {
    return store_.write(Durability::powerCut, [&](Changes& changes) {
      const auto& [viewer, organization] = identity;
      const auto known = read(byUser_, organization.urlKey, viewer.email);
      LinearIntegration integration{.id = known ? known->id : LinearIntegrationId(Uuid::random()),
                                    .workspaceUrlKey = organization.urlKey,
                                    .workspaceName = organization.name,
                                    .userName = viewer.name,
                                    .userEmail = viewer.email,
                                    .createdAt = known ? known->createdAt : store_.now()};
      if (known == integration) return integration;
      put_.run(bound(integration.id), integration.workspaceUrlKey, integration.workspaceName, integration.userName,
               integration.userEmail, bound(integration.createdAt));
      known ? changes.updated(integration.id) : changes.inserted(integration.id);
      return integration;
    });
  }

  bool remove(LinearIntegrationId id) {
    return store_.write(
        Durability::powerCut,
        [&](Changes& changes) {
          if (!delete_.query(bound(id)).step()) {
            kLog.error("remove called with unknown id {}", id.text());
            return false;
          }
          changes.removed(id);
          return true;
        },
        FullDisk::takesReserve);
  }

  std::optional<LinearIntegration> integration(LinearIntegrationId id) {
    return store_.read([&] { return read(byId_, bound(id)); });
  }

  std::optional<LinearIntegration> integration(const std::string& workspaceUrlKey, const std::string& userEmail) {
    return store_.read([&] { return read(byUser_, workspaceUrlKey, userEmail); });
  }

  std::vector<LinearIntegration> integrations() {
    return store_.read([&] {
      std::vector<LinearIntegration> integrations;
      auto row = all_.query();
      while (row.step()) integrations.push_back(readIntegration(row));
      return integrations;
    });
  }

 private:
  template <class... Values>
  static std::optional<LinearIntegration> read(sqlite::Statement& statement, const Values&... values) {
    auto row = statement.query(values...);
    return row.step() ? std::optional(readIntegration(row)) : std::nullopt;
  }

  StoreConnection store_;
  sqlite::Statement put_;
  sqlite::Statement byId_;
  sqlite::Statement byUser_;
  sqlite::Statement all_;
  sqlite::Statement delete_;
};

std::shared_ptr<LinearIntegrationStore> LinearIntegrationStore::make(std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<LinearIntegrationStore>(std::move(modelContainer));
}

LinearIntegrationStore::LinearIntegrationStore(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

LinearIntegrationStore::~LinearIntegrationStore() = default;

awaitable<LinearIntegration> LinearIntegrationStore::create(LinearIdentity identity) {
  return perform([identity = std::move(identity)](auto& operations) { return operations.create(identity); });
}

awaitable<bool> LinearIntegrationStore::remove(LinearIntegrationId id) {
  return perform([=](auto& operations) { return operations.remove(id); });
}

awaitable<std::optional<LinearIntegration>> LinearIntegrationStore::integration(LinearIntegrationId id) {
  return perform([=](auto& operations) { return operations.integration(id); });
}

awaitable<std::optional<LinearIntegration>> LinearIntegrationStore::integration(std::string workspaceUrlKey,
                                                                                std::string userEmail) {
  return perform([workspaceUrlKey = std::move(workspaceUrlKey), userEmail = std::move(userEmail)](auto& operations) {
    return operations.integration(workspaceUrlKey, userEmail);
  });
}

awaitable<std::vector<LinearIntegration>> LinearIntegrationStore::integrations() {
  return perform([](auto& operations) { return operations.integrations(); });
}

}  // namespace ravant
