#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/integrations/github_integration.hpp"
#include "core/store/store_actor.hpp"

namespace ravant {

class GithubPullDetailCacheOperations;

/// What pull requests say and change, by their addresses, each as one account saw it. All operations throw
/// `StoreError`.
class GithubPullDetailCacheModelActor : public StoreActor<GithubPullDetailCacheOperations> {
 public:
  static std::shared_ptr<GithubPullDetailCacheModelActor> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit GithubPullDetailCacheModelActor(std::shared_ptr<ModelContainer> modelContainer);
  ~GithubPullDetailCacheModelActor() override;

  /// In place of what was stored of it, also by another account; whatever is older than 30 days is dropped. Throws
  /// `std::runtime_error` "unknown integration " with the id where the account that fetched it is gone.
  awaitable<void> store(std::string pullURL, std::optional<std::string> bodyText, std::string filesData,
                        Timestamp fetchedAt, GithubIntegrationId integration);
  /// As the account saw it; nothing where another did.
  awaitable<std::optional<GithubPullDetailCache>> detail(std::string pullURL, GithubIntegrationId integration);
};

}  // namespace ravant
