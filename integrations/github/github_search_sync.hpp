#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/integrations/github_content_filter.hpp"
#include "integrations/github/github_client.hpp"
#include "integrations/github/github_integration_store.hpp"
#include "integrations/github/github_pull_request_model_actor.hpp"

namespace ravant {

/// One sync of a search of an account, all of which is stored with the same time. Its operations come one after
/// another, throw what the client and the store throw, and keep what was stored before an error. It outlives them.
class GithubSearchSync {
 public:
  GithubSearchSync(std::shared_ptr<GithubClient> asked, std::shared_ptr<GithubPullRequestModelActor> pulls,
                   GithubContentFilter filter, GithubIntegrationId integration, Timestamp syncedAt);

  /// Stores the next page, which is at `after`.
  awaitable<PageInfo> page(std::optional<std::string> after);
  /// Stores what comes of the references. Returns of how many it is not known whether they are there.
  awaitable<std::size_t> refresh(std::vector<GithubPullReference> references);
  /// Every page, then what the filter covers and no page had; settles what the user has no part in any more. The record
  /// has no cost. Throws `GithubClientError` `graphQL` where GitHub returns nothing, and says why.
  awaitable<GithubSyncRecord> whole();

 private:
  const std::shared_ptr<GithubClient> asked_;
  const std::shared_ptr<GithubPullRequestModelActor> pulls_;
  const GithubContentFilter filter_;
  const std::string query_;
  const GithubIntegrationId integration_;
  GithubSearchPlace place_;
  std::set<std::string> nodes_;
  std::size_t skipped_ = 0;
  std::string messages_;  ///< the latest
};

}  // namespace ravant
