#include "integrations/github/github_repository_sync.hpp"

#include <algorithm>
#include <utility>
#include <vector>

namespace ravant {
namespace {

constexpr int kMostPages = 100;

}  // namespace

GithubRepositorySync::GithubRepositorySync(std::shared_ptr<GithubClient> asked,
                                           std::shared_ptr<GithubRepositoryModelActor> repositories,
                                           GithubIntegrationId integration)
    : asked_(std::move(asked)), repositories_(std::move(repositories)), integration_(integration) {}

awaitable<GithubListEnd> GithubRepositorySync::page(int number) {
  auto repositories = co_await asked_->repositories(GithubRepositorySort::fullName, number);
  const GithubListEnd end = repositories.empty() ? GithubListEnd::reached : GithubListEnd::beyond;
  for (const GithubRepositoryPayload& repository : repositories) returned_.insert(repository.id);
  co_await repositories_->sync(std::move(repositories), integration_);
  co_return end;
}

awaitable<GithubListEnd> GithubRepositorySync::whole() {
  GithubListEnd end = co_await walk();
  if (end == GithubListEnd::beyond || !co_await isOneMissing()) co_return end;
  end = co_await walk();
  if (end == GithubListEnd::reached) {
    co_await repositories_->keepOnly(std::vector(returned_.begin(), returned_.end()), integration_);
  }
  co_return end;
}

awaitable<GithubListEnd> GithubRepositorySync::walk() {
  for (int number = 1; number <= kMostPages; ++number) {
    if (co_await page(number) == GithubListEnd::reached) co_return GithubListEnd::reached;
  }
  co_return GithubListEnd::beyond;
}

awaitable<bool> GithubRepositorySync::isOneMissing() {
  const auto known = co_await repositories_->repositories(integration_);
  co_return !std::ranges::all_of(
      known, [this](const GithubRepository& repository) { return returned_.contains(repository.repositoryID); });
}

}  // namespace ravant
