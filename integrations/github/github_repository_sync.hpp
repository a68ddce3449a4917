#pragma once

#include <cstdint>
#include <memory>
#include <set>

#include "integrations/github/github_client.hpp"
#include "integrations/github/github_repository_model_actor.hpp"

namespace ravant {

/// Whether a list was followed to its end, or goes on beyond what is asked for.
enum class GithubListEnd { reached, beyond };

/// A sync of the repositories that an account reaches, in the order of their names, which a push does not change. Its
/// operations come one after another, throw what the client and the store throw, and keep what was stored before an
/// error. It outlives them.
class GithubRepositorySync {
 public:
  GithubRepositorySync(std::shared_ptr<GithubClient> asked, std::shared_ptr<GithubRepositoryModelActor> repositories,
                       GithubIntegrationId integration);

  /// Stores a page, which count from 1. The end is behind the last one that has something.
  awaitable<GithubListEnd> page(int number);
  /// Every page, as far as 100. Where one that is known is missing, all of them once more, for a list that changes
  /// between two pages can leave one out: what is missing both times is removed.
  awaitable<GithubListEnd> whole();

 private:
  awaitable<GithubListEnd> walk();
  awaitable<bool> isOneMissing();

  const std::shared_ptr<GithubClient> asked_;
  const std::shared_ptr<GithubRepositoryModelActor> repositories_;
  const GithubIntegrationId integration_;
  std::set<std::int64_t> returned_;  ///< GitHub's ids
};

}  // namespace ravant
