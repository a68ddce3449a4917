#include "integrations/github/github_repository_model_actor.hpp"

#include "integrations/github/github_integration_rows.hpp"
#include "platform/json/json.hpp"

namespace ravant {

/// The operations themselves, run one after another on the store's strand.
class GithubRepositoryOperations {
 public:
  explicit GithubRepositoryOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        integrations_(store_),
        find_(store_.prepare("SELECT id, name, full_name, is_private, pushed_at FROM github_repository "
                             "WHERE integration_id = ? AND repository_id = ?")),
        insert_(store_.prepare("INSERT INTO github_repository (name, full_name, is_private, pushed_at, "
                               "integration_id, repository_id) VALUES (?, ?, ?, ?, ?, ?)")),
        update_(store_.prepare("UPDATE github_repository SET name = ?, full_name = ?, is_private = ?, pushed_at = ? "
                               "WHERE id = ?")),
        deleteOthers_(store_.prepare("DELETE FROM github_repository WHERE integration_id = ? "
                                     "AND repository_id NOT IN (SELECT value FROM json_each(?)) RETURNING id")),
        all_(store_.prepare("SELECT github_repository.id, uuid, repository_id, name, full_name, is_private, pushed_at "
                            "FROM github_repository JOIN integration ON integration.id = integration_id "
                            "WHERE uuid = ? ORDER BY pushed_at DESC, full_name")) {}

  void sync(const std::vector<GithubRepositoryPayload>& repositories, GithubIntegrationId integration) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      const std::int64_t account = integrations_.expect(integration).id;
      for (const GithubRepositoryPayload& repository : repositories) put(repository, account, changes);
    });
  }

  void keepOnly(const std::vector<std::int64_t>& kept, GithubIntegrationId integration) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      auto row =
          deleteOthers_.query(integrations_.expect(integration).id, compactJson(json::array(kept.begin(), kept.end())));
      while (row.step()) changes.removed(readId<GithubRepositoryId>(row, 0));
    });
  }

  std::vector<GithubRepository> repositories(GithubIntegrationId integration) {
    return store_.read([&] {
      std::vector<GithubRepository> all;
      auto row = all_.query(bound(integration));
      while (row.step()) {
        all.push_back({.id = readId<GithubRepositoryId>(row, 0),
                       .integration = readId<GithubIntegrationId>(row, 1),
                       .repositoryID = row.int64(2),
                       .name = readText(row, 3),
                       .fullName = readText(row, 4),
                       .isPrivate = row.boolean(5),
                       .pushedAt = readOptionalTime(row, 6)});
      }
      return all;
    });
  }

 private:
  void put(const GithubRepositoryPayload& repository, std::int64_t account, Changes& changes) {
    const auto pushedAt = repository.pushedAt ? std::optional(bound(*repository.pushedAt)) : std::nullopt;
    std::optional<std::int64_t> stored;
    {
      auto row = find_.query(account, repository.id);
      if (row.step()) {
        stored = row.int64(0);
        const bool isSame = row.text(1) == repository.name && row.text(2) == repository.fullName &&
                            row.boolean(3) == repository.isPrivate && row.optionalInt64(4) == pushedAt;
        if (isSame) return;
      }
    }
    if (stored) {
      update_.run(repository.name, repository.fullName, repository.isPrivate, pushedAt, *stored);
      changes.updated(GithubRepositoryId(*stored));
    } else {
      insert_.run(repository.name, repository.fullName, repository.isPrivate, pushedAt, account, repository.id);
      changes.inserted(GithubRepositoryId(store_.lastInsertRowId()));
    }
  }

  StoreConnection store_;
  GithubIntegrationRows integrations_;
  sqlite::Statement find_;
  sqlite::Statement insert_;
  sqlite::Statement update_;
  sqlite::Statement deleteOthers_;
  sqlite::Statement all_;
};

std::shared_ptr<GithubRepositoryModelActor> GithubRepositoryModelActor::make(
    std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<GithubRepositoryModelActor>(std::move(modelContainer));
}

GithubRepositoryModelActor::GithubRepositoryModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

GithubRepositoryModelActor::~GithubRepositoryModelActor() = default;

awaitable<void> GithubRepositoryModelActor::sync(std::vector<GithubRepositoryPayload> repositories,
                                                 GithubIntegrationId integration) {
  return perform([repositories = std::move(repositories), integration](auto& operations) {
    operations.sync(repositories, integration);
  });
}

awaitable<void> GithubRepositoryModelActor::keepOnly(std::vector<std::int64_t> repositoryIDs,
                                                     GithubIntegrationId integration) {
  return perform(
      [ids = std::move(repositoryIDs), integration](auto& operations) { operations.keepOnly(ids, integration); });
}

awaitable<std::vector<GithubRepository>> GithubRepositoryModelActor::repositories(GithubIntegrationId integration) {
  return perform([=](auto& operations) { return operations.repositories(integration); });
}

}  // namespace ravant
