#include "integrations/github/github_search_sync.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.integrations", "GithubSync");
constexpr std::int64_t kMostResults = 1000;  // of a search; GitHub has no more
constexpr int kMostPages = 40;               // more than such a search has
constexpr std::size_t kMostStale = 1000;

void logMessages(const std::string& messages) {
  if (!messages.empty()) kLog.warning("GitHub does not return everything: {}", messages);
}

}  // namespace

GithubSearchSync::GithubSearchSync(std::shared_ptr<GithubClient> asked,
                                   std::shared_ptr<GithubPullRequestModelActor> pulls, GithubContentFilter filter,
                                   GithubIntegrationId integration, Timestamp syncedAt)
    : asked_(std::move(asked)),
      pulls_(std::move(pulls)),
      filter_(std::move(filter)),
      query_(filter_.searchQuery()),
      integration_(integration),
      place_{.syncedAt = syncedAt} {}

awaitable<PageInfo> GithubSearchSync::page(std::optional<std::string> after) {
  GithubSearchPage page = co_await asked_->pullRequests(query_, std::move(after));
  logMessages(page.messages);
  std::vector<std::string> nodes;
  for (const GithubPullRequestPayload& pull : page.pulls) nodes.push_back(pull.id);
  const std::int64_t count = std::ssize(page.pulls);
  co_await pulls_->store(std::move(page.pulls), filter_, integration_, place_);
  nodes_.insert(nodes.begin(), nodes.end());
  place_.firstRank += count;
  skipped_ += page.skipped;
  if (!page.messages.empty()) messages_ = std::move(page.messages);
  co_return page.pageInfo;
}

awaitable<std::size_t> GithubSearchSync::refresh(std::vector<GithubPullReference> references) {
  GithubReferencedPulls answered = co_await asked_->pullRequests(references);
  logMessages(answered.messages);
  const std::size_t unknown = references.size() - answered.pulls.size() - answered.vanished.size();
  co_await pulls_->store(std::move(references), std::move(answered), integration_, place_.syncedAt);
  co_return unknown;
}

awaitable<GithubSyncRecord> GithubSearchSync::whole() {
  PageInfo info{.hasNextPage = true};
  for (int count = 0; count < kMostPages && info.hasNextPage; ++count) info = co_await page(info.endCursor);
  if (nodes_.empty() && !messages_.empty()) throw GithubClientError::graphQL(messages_);
  const bool isWhole = !info.hasNextPage && place_.firstRank + static_cast<std::int64_t>(skipped_) < kMostResults;

  auto stale = co_await pulls_->staleReferences(filter_, integration_, place_.syncedAt, kMostStale + 1);
  std::size_t unread = skipped_ + (stale.size() > kMostStale ? 1 : 0);
  stale.resize(std::min(stale.size(), kMostStale));
  for (auto rest = stale.begin(); rest != stale.end();) {
    const auto end = rest + std::min<std::ptrdiff_t>(GithubClient::kMostReferences, stale.end() - rest);
    unread += co_await refresh({rest, end});
    rest = end;
  }
  if (isWhole) {
    std::vector<std::string> nodes(nodes_.begin(), nodes_.end());
    co_await pulls_->forgetInvolvement(filter_, integration_, std::move(nodes), place_.syncedAt);
  }
  const GithubSyncGap unreadGap = unread > 0 ? GithubSyncGap::unread : GithubSyncGap::none;
  co_return GithubSyncRecord{.syncedAt = place_.syncedAt,
                             .cost = 0,
                             .pullRequests = std::ssize(nodes_),
                             .gap = isWhole ? unreadGap : GithubSyncGap::beyondLimit};
}

}  // namespace ravant
