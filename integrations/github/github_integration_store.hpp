#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/integrations/github_integration.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

/// What a whole sync leaves out: nothing, what a search finds beyond GitHub's limit, or what could not be read or asked
/// about.
enum class GithubSyncGap { none, beyondLimit, unread };

/// How the latest whole sync of one search went.
struct GithubSyncRecord {
  Timestamp syncedAt;
  std::int64_t cost;  ///< points of GitHub's limits; as it is stored, with those of the syncs that failed since
  std::int64_t pullRequests;
  GithubSyncGap gap;

  bool operator==(const GithubSyncRecord&) const = default;
};

class GithubIntegrationOperations;

/// The accounts, their pauses and how their syncs went. All operations throw `StoreError`; those of pauses and syncs,
/// for an integration that does not exist, `std::runtime_error` "unknown integration " with the id.
class GithubIntegrationStore : public StoreActor<GithubIntegrationOperations> {
 public:
  static std::shared_ptr<GithubIntegrationStore> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit GithubIntegrationStore(std::shared_ptr<ModelContainer> modelContainer);
  ~GithubIntegrationStore() override;

  /// One that is there already, whatever the case of its name, is returned as it stands.
  awaitable<GithubIntegration> create(std::string host, std::string username);
  /// Takes its repositories, pull requests, their details and its pinned views out of the store too. False where it is
  /// not there.
  awaitable<bool> remove(GithubIntegrationId id);
  /// False where it is not there.
  awaitable<bool> setLastSelectedContent(GithubIntegrationId id, GithubIntegrationSelectedContent content);
  /// Whatever the case of its name.
  awaitable<std::optional<GithubIntegration>> integration(std::string host, std::string username);
  /// In the order in which they were added.
  awaitable<std::vector<GithubIntegration>> integrations();

  awaitable<std::optional<Timestamp>> pausedUntil(GithubIntegrationId id, std::string resource);
  awaitable<void> pause(GithubIntegrationId id, std::string resource, Timestamp until);

  awaitable<std::optional<GithubSyncRecord>> lastSync(GithubIntegrationId id, std::string searchText);
  /// Not in place of a later one.
  awaitable<void> recordSync(GithubIntegrationId id, std::string searchText, GithubSyncRecord record);
  /// What a sync that failed has cost.
  awaitable<void> addSyncCost(GithubIntegrationId id, std::string searchText, std::int64_t points);
};

}  // namespace ravant
