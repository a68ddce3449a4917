#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/integrations/github_content_filter.hpp"
#include "core/integrations/github_integration.hpp"
#include "core/store/store_actor.hpp"
#include "integrations/github/github_payloads.hpp"

namespace ravant {

/// Where in a sync a page of its search stands.
struct GithubSearchPlace {
  Timestamp syncedAt;          ///< the sync's time, the same for all of its pages
  std::int64_t firstRank = 0;  ///< how many pull requests came before the page's first
};

class GithubPullRequestOperations;

/// Stores what searches returned, and shows what a filter lets through of it. What was returned by a later sync stays
/// as it is. Only what somebody can see is announced when it changes: a pull request that was returned again as it was
/// is not; where only the order is another, the account is. All operations throw `StoreError`; one that stores throws
/// `std::runtime_error` "unknown integration " with the id where there is none.
class GithubPullRequestModelActor : public StoreActor<GithubPullRequestOperations> {
 public:
  static std::shared_ptr<GithubPullRequestModelActor> make(std::shared_ptr<ModelContainer> modelContainer);
  explicit GithubPullRequestModelActor(std::shared_ptr<ModelContainer> modelContainer);
  ~GithubPullRequestModelActor() override;

  /// The time for a sync that begins now: later than that of every other, wherever the clock stands.
  awaitable<Timestamp> nextSyncTime(GithubIntegrationId integration);
  /// A page of what the filter's search returned, which also says what part the user has in it. Nothing is removed.
  awaitable<void> store(std::vector<GithubPullRequestPayload> pulls, GithubContentFilter filter,
                        GithubIntegrationId integration, GithubSearchPlace place);
  /// What came of references. What vanished is removed, and what another pull request was returned for; one that could
  /// not be asked about stays as it is.
  awaitable<void> store(std::vector<GithubPullReference> asked, GithubReferencedPulls answered,
                        GithubIntegrationId integration, Timestamp syncedAt);
  /// Of what the filter covers, what was last returned before `syncedBefore`, at most `limit`: first what was neither
  /// returned nor asked for the longest.
  awaitable<std::vector<GithubPullReference>> staleReferences(GithubContentFilter filter,
                                                              GithubIntegrationId integration, Timestamp syncedBefore,
                                                              std::size_t limit);
  /// Ends a whole sync. What was asked for by reference at `syncedAt`, fits the filter in all else, and is not among
  /// the nodes that the search returned, has lost the part of the user that the filter is about.
  awaitable<void> forgetInvolvement(GithubContentFilter filter, GithubIntegrationId integration,
                                    std::vector<std::string> returnedNodes, Timestamp syncedAt);

  /// What `filter` lets through, in the order of the latest search: as `searchQuery` would find it, as far as the store
  /// knows.
  awaitable<std::vector<GithubPullRequest>> pulls(GithubContentFilter filter, GithubIntegrationId integration,
                                                  std::string username);
  awaitable<std::optional<GithubPullRequest>> pull(GithubPullRequestId id);
  awaitable<std::optional<GithubPullRequest>> pull(GithubIntegrationId integration, std::string repositoryName,
                                                   std::int64_t number);
};

}  // namespace ravant
