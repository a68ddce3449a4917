// store_pulls FOLDER ROUNDS: the seconds in which 10,000 pull requests are stored in pages of 30, by the store and by a
// program that only writes the same rows in the same transactions; and those in which a filter finds what it lets
// through of 100,000.

#include <fmt/format.h>

#include <string>
#include <vector>

#include "bench/bare_sqlite.hpp"
#include "bench/open_store.hpp"
#include "bench/timing.hpp"
#include "integrations/github/github_integration_store.hpp"
#include "integrations/github/github_pull_request_model_actor.hpp"

namespace ravant::bench {
namespace {

constexpr std::int64_t kPage = 30;
constexpr std::int64_t kStored = 10'000;
constexpr std::int64_t kFiltered = 100'000;
constexpr Timestamp kSyncedAt{std::chrono::seconds{1'795'247'416}};
const GithubContentFilter kEverything{.repositoryFullNames = {"octo/tools0"}};
const GithubContentFilter kMine{.involvement = GithubFilterInvolvement::reviewRequested};

GithubPullRequestPayload pull(std::int64_t number) {
  const std::string repository = fmt::format("octo/tools{}", number % 20);
  return {.id = fmt::format("PR_kwDOABCDEF5{:08}", number),
          .number = number,
          .title = fmt::format("Read lines from one buffer and hand out views of it, part {}", number),
          .url = fmt::format("https://github.com/{}/pull/{}", repository, number),
          .isDraft = number % 7 == 0,
          .merged = false,
          .closed = false,
          .repositoryName = repository,
          .authorLogin = fmt::format("Author{}", number % 300),
          .reviewDecision = static_cast<GithubReviewDecision>(number % 3),
          .checkState = static_cast<GithubCheckState>(number % 5)};
}

std::vector<GithubPullRequestPayload> page(std::int64_t first, std::int64_t count) {
  std::vector<GithubPullRequestPayload> pulls;
  for (std::int64_t i = 0; i < std::min(kPage, count - first); ++i) pulls.push_back(pull(first + i));
  return pulls;
}

awaitable<void> storePages(std::shared_ptr<GithubPullRequestModelActor> store, GithubIntegrationId account,
                           std::vector<std::vector<GithubPullRequestPayload>> pages) {
  std::int64_t rank = 0;
  for (auto& pulls : pages) {
    const std::int64_t count = std::ssize(pulls);
    co_await store->store(std::move(pulls), kEverything, account, {.syncedAt = kSyncedAt, .firstRank = rank});
    rank += count;
  }
}

/// A store with one account.
struct Accounts {
  explicit Accounts(const std::filesystem::path& folder) : store(folder) {
    id = test::run(GithubIntegrationStore::make(store.container)->create("github.com", "octocat")).id;
  }
  OpenStore store;
  GithubIntegrationId id;
};

std::vector<std::vector<GithubPullRequestPayload>> pages(std::int64_t count) {
  std::vector<std::vector<GithubPullRequestPayload>> all;
  for (std::int64_t first = 0; first < count; first += kPage) all.push_back(page(first, count));
  return all;
}

double storeOurs(const std::filesystem::path& folder) {
  Accounts accounts(folder);
  const auto store = GithubPullRequestModelActor::make(accounts.store.container);
  test::run(store->pulls(kMine, accounts.id, "octocat"));
  auto all = pages(kStored);
  const auto start = std::chrono::steady_clock::now();
  test::run(storePages(store, accounts.id, std::move(all)));
  return secondsSince(start);
}

double storeBare(const std::filesystem::path& folder) {
  const Accounts accounts(folder);
  Database database((folder / "store.sqlite").c_str());
  auto begin = database.prepare("BEGIN IMMEDIATE");
  auto commit = database.prepare("COMMIT");
  auto insert = database.prepare(
      "INSERT INTO github_pull_request (integration_id, node_id, number, title, url, is_draft, merged, closed, "
      "repository_name, author_username, author_username_folded, review_decision_raw, check_state_raw, involvement, "
      "rank, synced_at, asked_at) VALUES (1, ?1, ?2, ?3, ?4, ?5, 0, 0, ?6, ?7, lower(?7), ?8, ?9, 0, ?10, ?11, ?11)");
  auto announce = database.prepare("INSERT INTO change (entity, operation, id, conversation) VALUES (8, 0, ?, NULL)");
  const auto all = pages(kStored);
  const auto start = std::chrono::steady_clock::now();
  std::int64_t rank = 0;
  for (const auto& pulls : all) {
    begin();
    std::vector<std::int64_t> ids;
    for (const GithubPullRequestPayload& one : pulls) {
      insert(one.id, one.number, one.title, one.url, std::int64_t{one.isDraft}, one.repositoryName, *one.authorLogin,
             rawValue(*one.reviewDecision), rawValue(*one.checkState), rank++, kSyncedAt.time_since_epoch().count());
      ids.push_back(database.lastRow());
    }
    for (const std::int64_t id : ids) announce(id);
    commit();
  }
  return secondsSince(start);
}

/// Milliseconds of a whole call of `pulls`, and how many it found, for each filter.
void filter(const std::filesystem::path& folder, int rounds) {
  Accounts accounts(folder);
  const auto store = GithubPullRequestModelActor::make(accounts.store.container);
  test::run(storePages(store, accounts.id, pages(kFiltered)));
  std::vector<GithubPullRequestPayload> reviews;
  for (std::int64_t number = 0; number < kFiltered; number += 400) reviews.push_back(pull(number));
  test::run(store->store(std::move(reviews), kMine, accounts.id, {.syncedAt = kSyncedAt + std::chrono::minutes(1)}));

  GithubContentFilter all{};
  for (int i = 0; i < 20; ++i) all.repositoryFullNames.insert(fmt::format("octo/tools{}", i));
  GithubContentFilter authored{.involvement = GithubFilterInvolvement::authored};
  const std::vector<std::pair<std::string, GithubContentFilter>> filters = {
      {"reviews", kMine},
      {"authored", authored},
      {"facets",
       {.repositoryFullNames = {"octo/tools3", "octo/tools7"},
        .review = GithubFilterReview::approved,
        .checks = GithubFilterChecks::failing,
        .draft = GithubFilterDraft::hideDrafts}},
      {"everywhere",
       {.repositoryFullNames = all.repositoryFullNames,
        .review = GithubFilterReview::approved,
        .checks = GithubFilterChecks::failing,
        .draft = GithubFilterDraft::draftsOnly}},
      {"all", all}};
  std::vector<std::size_t> found(filters.size());
  std::vector<std::function<double()>> calls;
  for (std::size_t i = 0; i < filters.size(); ++i) {
    calls.emplace_back([&, i] {
      const auto start = std::chrono::steady_clock::now();
      found[i] = test::run(store->pulls(filters[i].second, accounts.id, "author7")).size();
      return secondsSince(start);
    });
  }
  const std::vector<double> seconds = shortestOf(rounds, calls);
  for (std::size_t i = 0; i < filters.size(); ++i) {
    fmt::print("{}\t{}\n{}Found\t{}\n", filters[i].first, seconds[i], filters[i].first, found[i]);
  }
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant::bench;
  const std::filesystem::path folder = arguments[1];
  const int rounds = std::stoi(arguments[2]);
  int round = 0;
  const auto fresh = [&](const char* name) {
    auto made = folder / fmt::format("{}{}", name, round);
    std::filesystem::create_directories(made);
    return made;
  };
  const auto seconds = shortestOf(rounds, {[&] { return storeOurs(fresh("ours")); },
                                           [&] {
                                             const double taken = storeBare(fresh("bare"));
                                             ++round;
                                             return taken;
                                           }});
  fmt::print("ours\t{}\nbare\t{}\n", seconds[0], seconds[1]);
  filter(fresh("filtered"), rounds);
}
