#include "tests/integrations/github/github_service_test.hpp"

#include <fmt/format.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <utility>

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using namespace asio::experimental::awaitable_operators;
using namespace std::chrono_literals;

TEST_F(GithubServiceTest, storesATokenOnlyOfTheAccountItBelongsTo) {
  github.addUser("mona", "ghp_mona");
  EXPECT_EQ(wordsOf(service->add("github.com", "hubot", "ghp_mona")), "Token belongs to mona, not hubot.");
  EXPECT_THAT(wordsOf(service->add("github.com", "mona", "wrong")), HasSubstr("401"));
  EXPECT_EQ(wordsOf(service->addDiscovered({.host = "github.com", .username = "mona", .isActive = true})),
            "gh didn't return a token for mona@github.com. Run `gh auth login`.");
  EXPECT_THAT(run(service->integrations().integrations()), ElementsAre(account));
  EXPECT_EQ(wordsOf(connection.tokens->githubToken("github.com", "mona")),
            "No stored token for this account. Remove and re-add the integration.");

  EXPECT_EQ(run(service->add("GitHub.com", " OCTOCAT ", std::string(SimulatedGithub::kToken) + "\n")), account);
  EXPECT_EQ(run(service->add("github.com", "Mona", "ghp_mona")).username, "mona");
  EXPECT_THAT(run(service->integrations().integrations()), SizeIs(2));
}

TEST_F(GithubServiceTest, syncsOneSearchOnce) {
  for (int i = 0; i < 100; ++i) github.addPull({.repository = "octo/tools"});
  const std::size_t before = github.requests().size();
  const auto [one, other] = run(service->sync(account, kTools) && service->sync(account, kTools));
  EXPECT_EQ(one, other);
  EXPECT_EQ(github.requests().size() - before, 4U);

  const auto [tools, reviews] = run(service->sync(account, kTools) && service->sync(account, kReviews));
  EXPECT_EQ(tools.cost, 4);
  EXPECT_EQ(reviews.cost, 1);

  const auto [whole, page] =
      run(service->sync(account, kTools) &&
          service->syncPullRequests("github.com", "octocat", kReviews, std::nullopt, account.id));
  EXPECT_EQ(whole.cost, 4) << "one that is called page by page ran at the same time";
}

TEST_F(GithubServiceTest, endsASyncWhoseAccountIsRemoved) {
  for (int i = 0; i < 90; ++i) github.addPull({.repository = "octo/tools"});
  github.intercept([this](const HttpServer::Request& request, HttpServer::Connection&) {
    if (pageOf(request) == 2) EXPECT_TRUE(run(service->remove(account.id)));
    return false;
  });
  EXPECT_EQ(wordsOf(service->sync(account, kTools)), "unknown integration " + account.id.text());
  for (const char* table : {"integration", "github_pull_request", "github_sync", "github_pause"}) {
    EXPECT_EQ(rows(table), 0) << table;
  }
  EXPECT_FALSE(run(service->remove(account.id)));
}

TEST_F(GithubServiceTest, storesPageByPage) {
  for (int i = 0; i < 45; ++i) github.addPull({.repository = "octo/tools"});
  const auto page = [&](std::optional<std::string> after) {
    return run(service->syncPullRequests("github.com", "octocat", kTools, std::move(after), account.id));
  };
  const PageInfo first = page({});
  ASSERT_TRUE(first.hasNextPage);
  store.clock->advance(1min);
  EXPECT_FALSE(page(first.endCursor).hasNextPage);
  EXPECT_EQ(shown(kTools), github.found(kTools.searchQuery())) << "the pages are one sync";
  EXPECT_EQ(stored("octo/tools", 1).syncedAt, kMorning);

  github.change("octo/tools", 45, [](SimulatedPull& pull) { pull.closed = true; });
  const auto refresh = [&] {
    return run(service->refreshStalePullRequests("github.com", "octocat", kTools, account.id, kMorning + 1s, 100));
  };
  EXPECT_EQ(refresh(), 45U);
  EXPECT_EQ(refresh(), 0U);
  EXPECT_THAT(shown(kTools), SizeIs(44));
  EXPECT_EQ(wordsOf(service->syncPullRequests("github.com", "octocat", kTools, {}, GithubIntegrationId())),
            "unknown integration 00000000-0000-0000-0000-000000000000");
}

TEST_F(GithubServiceTest, asksNothingBeforeAPauseIsOver) {
  github.setRemaining("graphql", 1, kMorning + 1h);
  sync(kTools);
  EXPECT_THAT(wordsOf(service->sync(account, kTools)), Not(HasSubstr("nothing was thrown")));
  const std::size_t before = github.requests().size();
  const auto again = GithubService::make(store.container, connection);
  EXPECT_THAT(wordsOf(again->sync(account, kTools)), Not(HasSubstr("nothing was thrown")));
  EXPECT_EQ(github.requests().size(), before) << "also by another program";
  store.clock->advance(61min);
  github.setRemaining("graphql", 100, kMorning + 3h);
  sync(kTools);
}

TEST_F(GithubServiceTest, keepsTheLongestPauseThatCanBeRight) {
  auto& kept = service->integrations();
  const auto pausedFor = [&](std::chrono::hours length) {
    run(kept.pause(account.id, "core", kMorning + length));
    return run(kept.pausedUntil(account.id, "core")).value() - kMorning;
  };
  EXPECT_EQ(pausedFor(24h * 365), 24h * 365) << "of a clock that is ahead";
  EXPECT_EQ(pausedFor(2h), 2h);
  EXPECT_EQ(pausedFor(1h), 2h);
  const std::size_t before = github.requests().size();
  EXPECT_THAT(wordsOf(service->add("github.com", "Octocat", std::string(SimulatedGithub::kToken))),
              HasSubstr("rate limit is spent"));
  EXPECT_EQ(github.requests().size(), before);
}

TEST_F(GithubServiceTest, keepsTheRepositoriesThatAnAccountReaches) {
  for (int i = 0; i < 64; ++i) {
    github.addRepository({.fullName = fmt::format("octo/part{}", i), .pushedAt = kMorning + std::chrono::minutes(i)});
  }
  const auto sync = [&] { run(service->syncAllRepositories(account)); };
  const auto names = [&] {
    std::vector<std::string> all;
    for (const auto& repository : run(service->repositories(account.id))) all.push_back(repository.fullName);
    return all;
  };
  sync();
  ASSERT_EQ(names().size(), 65U);
  EXPECT_EQ(names().front(), "octo/part63");
  EXPECT_EQ(names().back(), "octo/tools") << "which nobody pushed to";

  github.renameRepository("octo/part1", "octo/one");
  github.removeRepository("octo/part2");
  github.intercept([](const HttpServer::Request& request, HttpServer::Connection& connection) {
    if (!request.target.contains("&page=3")) return false;
    connection.respond(500);
    return true;
  });
  EXPECT_EQ(wordsOf(service->syncAllRepositories(account)), "Github returned HTTP 500");
  EXPECT_EQ(names().size(), 65U) << "half a sync removes nothing";
  github.intercept({});
  sync();
  EXPECT_EQ(names().size(), 64U);
  EXPECT_THAT(names(), testing::Contains("octo/one"));

  bool isFirst = true;
  github.intercept([&](const HttpServer::Request& request, HttpServer::Connection&) {
    if (request.target.contains("&page=2") && std::exchange(isFirst, false)) github.removeRepository("octo/part0");
    return false;
  });
  sync();
  EXPECT_EQ(names().size(), 64U) << "what a list that moved up left out is not gone";
  sync();
  EXPECT_EQ(names().size(), 63U);

  github.intercept([](const HttpServer::Request& request, HttpServer::Connection& connection) {
    if (!request.target.contains("/user/repos")) return false;
    connection.respond(200, {}, R"([{"id":1,"name":"one","full_name":"octo/one","private":false}])");
    return true;
  });
  EXPECT_EQ(run(service->syncAllRepositories(account)), GithubListEnd::beyond);
}

class GithubDetails : public GithubServiceTest {
 protected:
  GithubDetails() {
    SimulatedPull pull{.repository = "octo/tools", .body = "Why"};
    for (int i = 0; i < 250; ++i) {
      pull.files.push_back({.filename = fmt::format("file{}", i), .status = "modified", .additions = 1});
    }
    pull.files[0].patch = "@@ -1 +1 @@\n-a\n+b";
    pull.files[1].previousFilename = "old";
    files = pull.files;
    github.addPull(std::move(pull));
  }
  using Freshness = GithubService::Freshness;
  GithubPullRequestDetail detail(Freshness freshness = Freshness::cached) {
    return run(service->pullRequestDetail(account, "octo/tools", 1, freshness));
  }
  void setBody(const std::string& body) {
    github.change("octo/tools", 1, [&](SimulatedPull& pull) { pull.body = body; });
  }

  std::vector<GithubPullFilePayload> files;
};

TEST_F(GithubDetails, areFetchedAgainWhenTheyAreOldOrAskedFor) {
  EXPECT_EQ(detail().files, files);
  setBody("New");
  store.clock->advance(4min);
  EXPECT_EQ(detail().bodyText, "Why");
  EXPECT_EQ(detail().files, files) << "from the cache";
  EXPECT_EQ(detail(Freshness::fresh).bodyText, "New");
  setBody("Newer");
  store.clock->advance(6min);
  EXPECT_EQ(detail().bodyText, "Newer");
  store.clock->advance(-1h);
  setBody("Newest");
  EXPECT_EQ(detail().bodyText, "Newest") << "a time to come says nothing";

  github.addPull({.repository = "octo/tools"});
  store.clock->advance(31 * 24h);
  run(service->fetchPullRequestDetail("github.com", "OctoCat", "octo/tools", 2,
                                      "https://github.com/octo/tools/pull/2"));
  EXPECT_EQ(rows("github_pull_detail_cache"), 1);
  EXPECT_EQ(wordsOf(service->pullRequestDetail(account, "octo", 2, Freshness::cached)), "Invalid Github API URL.");

  const std::size_t before = github.requests().size();
  run(service->pullRequestDetail(account, "Octo/TOOLS", 2, Freshness::cached));
  EXPECT_EQ(github.requests().size(), before) << "the letters of a name can be typed otherwise";
}

TEST_F(GithubDetails, comeWithATitleThatIsNoOlder) {
  const auto title = [&] {
    return run(service->pullRequest(account, {.repositoryName = "octo/tools", .number = 1})).value().title;
  };
  const auto rename = [&](const std::string& name) {
    github.change("octo/tools", 1, [&](SimulatedPull& pull) { pull.title = name; });
  };
  EXPECT_EQ(title(), "A change");
  rename("Renamed");
  store.clock->advance(4min);
  EXPECT_EQ(title(), "A change") << "as it is stored";
  store.clock->advance(2min);
  EXPECT_EQ(title(), "Renamed");
  rename("Again");
  store.clock->advance(-1h);
  EXPECT_EQ(title(), "Again") << "a time to come says nothing";
}

TEST_F(GithubDetails, areOfTheAccountThatSawThem) {
  github.addUser("mona", "ghp_mona");
  const GithubIntegration mona = run(service->add("github.com", "mona", "ghp_mona"));
  github.addPull({.repository = "octo/own"});
  run(service->pullRequestDetail(account, "octo/own", 1, Freshness::cached));
  run(service->pullRequestDetail(account, "octo/tools", 1, Freshness::cached));
  const std::size_t asked = github.requests().size();
  run(service->pullRequestDetail(mona, "octo/tools", 1, Freshness::cached));
  EXPECT_GT(github.requests().size(), asked) << "what one account may see is not shown to another";

  EXPECT_TRUE(run(service->remove(account.id)));
  EXPECT_EQ(rows("github_pull_detail_cache"), 1);
  EXPECT_EQ(wordsOf(service->pullRequestDetail(account, "octo/own", 1, Freshness::fresh)),
            "unknown integration " + account.id.text());
  EXPECT_EQ(rows("github_pull_detail_cache"), 1);
  EXPECT_TRUE(run(service->remove(mona.id)));
  EXPECT_EQ(rows("github_pull_detail_cache"), 0);
  EXPECT_THAT(wordsOf(connection.tokens->githubToken("github.com", "mona")), HasSubstr("No stored token"));
}

/// Removes nothing.
class StubbornKeyStore final : public KeyStore {
 public:
  std::optional<std::string> read(const KeyName&, std::stop_token) override {
    return std::string(SimulatedGithub::kToken);
  }
  void store(const KeyName&, const std::string&, const std::string&) override {}
  bool remove(const KeyName&) override { throw KeyStoreError(KeyStoreError::Case::locked, "it is locked"); }
};

TEST_F(GithubServiceTest, forgetsAnAccountWhoseTokenIsLeft) {
  connection.tokens = std::make_shared<GithubTokens>(store.executors.work(), std::make_shared<StubbornKeyStore>());
  const auto stubborn = GithubService::make(store.container, connection);
  EXPECT_EQ(wordsOf(stubborn->remove(account.id)),
            "The account is forgotten, but its token is still in the keychain: it is locked; add it again and remove "
            "it, or delete the entry com.ravant.integrations.github of octocat@github.com in your key store");
  EXPECT_THAT(run(service->integrations().integrations()), IsEmpty());
}

}  // namespace
}  // namespace ravant::test
