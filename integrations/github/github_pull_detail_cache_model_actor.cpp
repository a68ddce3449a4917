#include "integrations/github/github_pull_detail_cache_model_actor.hpp"

#include "integrations/github/github_integration_rows.hpp"

namespace ravant {
namespace {

constexpr std::chrono::days kKept{30};

}  // namespace

/// The operations themselves, run one after another on the store's strand.
class GithubPullDetailCacheOperations {
 public:
  explicit GithubPullDetailCacheOperations(std::shared_ptr<ModelContainer> modelContainer)
      : store_(std::move(modelContainer)),
        integrations_(store_),
        dropOld_(store_.prepare("DELETE FROM github_pull_detail_cache WHERE fetched_at < ? RETURNING id")),
        find_(store_.prepare(
            "SELECT github_pull_detail_cache.id, pull_url, body_text, files_data, fetched_at, integration.uuid "
            "FROM github_pull_detail_cache JOIN integration ON integration.id = integration_id WHERE pull_url = ?")),
        insert_(store_.prepare("INSERT INTO github_pull_detail_cache (pull_url, body_text, files_data, fetched_at, "
                               "integration_id) VALUES (?, ?, ?, ?, ?)")),
        update_(store_.prepare("UPDATE github_pull_detail_cache SET body_text = ?, files_data = ?, fetched_at = ?, "
                               "integration_id = ? WHERE id = ?")) {}

  void store(const std::string& url, const std::optional<std::string>& body, const std::string& files,
             Timestamp fetchedAt, GithubIntegrationId integration) {
    store_.write(Durability::processDeath, [&](Changes& changes) {
      const std::int64_t account = integrations_.expect(integration).id;
      {
        auto row = dropOld_.query(bound(fetchedAt - kKept));
        while (row.step()) changes.removed(readId<GithubPullDetailCacheId>(row, 0));
      }
      const auto stored = read(url);
      if (!stored) {
        insert_.run(url, body, files, bound(fetchedAt), account);
        changes.inserted(GithubPullDetailCacheId(store_.lastInsertRowId()));
        return;
      }
      update_.run(body, files, bound(fetchedAt), account, bound(stored->id));
      if (stored->bodyText != body || stored->filesData != files) changes.updated(stored->id);
    });
  }

  std::optional<GithubPullDetailCache> detail(const std::string& url, GithubIntegrationId integration) {
    return store_.read([&] {
      auto stored = read(url);
      if (stored && stored->integration != integration) stored.reset();
      return stored;
    });
  }

 private:
  std::optional<GithubPullDetailCache> read(const std::string& url) {
    auto row = find_.query(url);
    if (!row.step()) return std::nullopt;
    return GithubPullDetailCache{.id = readId<GithubPullDetailCacheId>(row, 0),
                                 .integration = readId<GithubIntegrationId>(row, 5),
                                 .pullURL = readText(row, 1),
                                 .bodyText = readOptionalText(row, 2),
                                 .filesData = readText(row, 3),
                                 .fetchedAt = readTime(row, 4)};
  }

  StoreConnection store_;
  GithubIntegrationRows integrations_;
  sqlite::Statement dropOld_;
  sqlite::Statement find_;
  sqlite::Statement insert_;
  sqlite::Statement update_;
};

std::shared_ptr<GithubPullDetailCacheModelActor> GithubPullDetailCacheModelActor::make(
    std::shared_ptr<ModelContainer> modelContainer) {
  return std::make_shared<GithubPullDetailCacheModelActor>(std::move(modelContainer));
}

GithubPullDetailCacheModelActor::GithubPullDetailCacheModelActor(std::shared_ptr<ModelContainer> modelContainer)
    : StoreActor(std::move(modelContainer)) {}

GithubPullDetailCacheModelActor::~GithubPullDetailCacheModelActor() = default;

awaitable<void> GithubPullDetailCacheModelActor::store(std::string pullURL, std::optional<std::string> bodyText,
                                                       std::string filesData, Timestamp fetchedAt,
                                                       GithubIntegrationId integration) {
  return perform([url = std::move(pullURL), body = std::move(bodyText), files = std::move(filesData), fetchedAt,
                  integration](auto& operations) { operations.store(url, body, files, fetchedAt, integration); });
}

awaitable<std::optional<GithubPullDetailCache>> GithubPullDetailCacheModelActor::detail(
    std::string pullURL, GithubIntegrationId integration) {
  return perform(
      [url = std::move(pullURL), integration](auto& operations) { return operations.detail(url, integration); });
}

}  // namespace ravant
