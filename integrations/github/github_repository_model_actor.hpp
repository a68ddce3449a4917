#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "core/integrations/github_integration.hpp"
#include "core/store/store_actor.hpp"
#include "integrations/github/github_payloads.hpp"

namespace ravant {

class GithubRepositoryOperations;

/// The repositories that accounts reach. All operations throw `StoreError`; one that stores throws `std::runtime_error`
/// "unknown integration " with the id where there is none.
class GithubRepositoryModelActor : public StoreActor<GithubRepositoryOperations> {
 public:
  static std::shared_ptr<GithubRepositoryModelActor> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit GithubRepositoryModelActor(std::shared_ptr<ModelContainer> modelContainer);
  ~GithubRepositoryModelActor() override;

  /// Adds or updates what a page returned.
  awaitable<void> sync(std::vector<GithubRepositoryPayload> repositories, GithubIntegrationId integration);
  /// Removes all but those, by GitHub's ids.
  awaitable<void> keepOnly(std::vector<std::int64_t> repositoryIDs, GithubIntegrationId integration);
  /// The one that was pushed to last first.
  awaitable<std::vector<GithubRepository>> repositories(GithubIntegrationId integration);
};

}  // namespace ravant
