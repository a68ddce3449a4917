#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/integrations/github_content_filter.hpp"
#include "core/integrations/github_integration.hpp"
#include "core/store/model_container.hpp"
#include "integrations/github/github_client.hpp"
#include "integrations/github/github_integration_store.hpp"
#include "integrations/github/github_pull_detail_cache_model_actor.hpp"
#include "integrations/github/github_pull_request_model_actor.hpp"
#include "integrations/github/github_repository_model_actor.hpp"
#include "integrations/github/github_repository_sync.hpp"
#include "integrations/github/github_search_sync.hpp"
#include "platform/async/signal.hpp"
#include "platform/async/turns.hpp"

namespace ravant {

/// A pull request's text and changes, from the cache or as they were just fetched.
struct GithubPullRequestDetail {
  std::optional<std::string> bodyText;
  std::vector<GithubPullFilePayload> files;
  Timestamp fetchedAt;
};

/// Moves what GitHub has into the store. Of one account one sync of this service runs at a time; one of the same search
/// that is running already is waited for instead of being started a second time. Another program can sync at the same
/// time: what came later is kept then, and what either cost is counted by both.
///
/// Every operation throws `GithubClientError`, `GithubTokenError`, `KeyStoreError` and `StoreError`, and
/// `std::runtime_error` "unknown integration " with the id, also where the account is removed meanwhile. What was
/// stored before an error stays.
class GithubService final : public Actor {
 public:
  static std::shared_ptr<GithubService> make(std::shared_ptr<ModelContainer> container, GithubConnection connection);
  GithubService(std::shared_ptr<ModelContainer> container, GithubConnection connection);
  ~GithubService() override;

  /// Checks the token with the host, stores it, then the account, by the name that the host has for it. The token of an
  /// account that is there already is replaced.
  awaitable<GithubIntegration> add(std::string host, std::string username, std::string token);
  /// Throws `GithubTokenError` "gh didn't return a token for …" where the account has none.
  awaitable<GithubIntegration> addDiscovered(GithubAccount account);
  /// Forgets the account, what is stored of it and its token; what `gh` keeps stays. False where it is not there. Where
  /// the key store does not remove the token, the account is gone all the same, and `LeftSecretError` says so.
  awaitable<bool> remove(GithubIntegrationId integration);

  /// One page of a search. The first is without `after`; all pages of one sync carry its time.
  awaitable<PageInfo> syncPullRequests(std::string host, std::string username, GithubContentFilter filter,
                                       std::optional<std::string> after, GithubIntegrationId integration);
  /// Asks again, in one request, for at most `limit` (and never more than fit one) of what the filter covers and was
  /// last returned before `syncedBefore`. Returns for how many it asked.
  awaitable<std::size_t> refreshStalePullRequests(std::string host, std::string username, GithubContentFilter filter,
                                                  GithubIntegrationId integration, Timestamp syncedBefore,
                                                  std::size_t limit);
  /// As it is stored where that is not older than five minutes; else as GitHub has it, which is stored then. Nothing
  /// where the account sees none there. Throws `GithubClientError` `graphQL` where GitHub does not say.
  awaitable<std::optional<GithubPullRequest>> pullRequest(GithubIntegration integration, GithubPullReference reference);
  /// Every page, to GitHub's own end of a search (1000), then what the filter covers and the search did not return, as
  /// far as 1000 again, the longest ago first. The cost is what the account was charged meanwhile.
  awaitable<GithubSyncRecord> sync(GithubIntegration integration, GithubContentFilter filter);

  /// One page, which count from 1. The cursor is the next page's number.
  awaitable<PageInfo> syncRepositories(std::string host, std::string username, int page,
                                       GithubIntegrationId integration);
  /// Every page, as far as 100. What is gone is removed where the end was reached.
  awaitable<GithubListEnd> syncAllRepositories(GithubIntegration integration);
  /// The one that was pushed to last first.
  awaitable<std::vector<GithubRepository>> repositories(GithubIntegrationId integration);

  /// Fetches a pull request's text and changes, and keeps them under the address.
  awaitable<GithubPullRequestDetail> fetchPullRequestDetail(std::string host, std::string username,
                                                            std::string repositoryName, std::int64_t number,
                                                            std::string pullURL);
  /// From the cache where it is not older than five minutes and not to be `fresh`.
  enum class Freshness { cached, fresh };
  awaitable<GithubPullRequestDetail> pullRequestDetail(GithubIntegration integration, std::string repositoryName,
                                                       std::int64_t number, Freshness freshness);

  /// Every request fails at once, now and from now on. Returns when none runs.
  awaitable<void> close();

  GithubIntegrationStore& integrations() { return *integrations_; }
  GithubPullRequestModelActor& pulls() { return *pulls_; }

 private:
  using Search = std::pair<GithubIntegrationId, std::string>;  ///< an account and its search text
  struct Sync;

  std::shared_ptr<GithubClient> client(const std::string& host, const std::string& username,
                                       GithubIntegrationId integration);
  std::shared_ptr<GithubClient> opened(std::shared_ptr<GithubClient> client);
  awaitable<GithubIntegration> create(std::string host, std::string username, std::string token);
  /// What the operation returns; its error is that of an account that is not known where it was removed meanwhile.
  template <class Result>
  awaitable<Result> ofPresent(GithubIntegrationId integration, awaitable<Result> operation);
  awaitable<GithubSyncRecord> runSync(GithubIntegration integration, GithubContentFilter filter);
  awaitable<std::shared_ptr<GithubSearchSync>> begin(std::string host, std::string username, GithubContentFilter filter,
                                                     GithubIntegrationId integration);
  awaitable<GithubPullRequestDetail> fetchDetail(GithubIntegration integration, std::string repositoryName,
                                                 std::int64_t number, std::string pullURL);

  const std::shared_ptr<ModelContainer> container_;
  const GithubConnection connection_;
  const std::shared_ptr<GithubIntegrationStore> integrations_;
  const std::shared_ptr<GithubPullRequestModelActor> pulls_;
  const std::shared_ptr<GithubRepositoryModelActor> repositories_;
  const std::shared_ptr<GithubPullDetailCacheModelActor> details_;

  std::map<GithubIntegrationId, std::shared_ptr<GithubClient>> clients_;
  std::vector<std::weak_ptr<GithubClient>> opened_;
  bool isClosed_ = false;
  std::map<Search, std::shared_ptr<GithubSearchSync>> pages_;  ///< of searches that are stored page by page
  std::map<Search, std::shared_ptr<Sync>> syncs_;
  Signal changed_;
  Turns<GithubIntegrationId> syncTurns_{changed_};  ///< one sync of an account at a time
};

}  // namespace ravant
