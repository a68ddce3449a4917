#include "tests/integrations/github/github_service_test.hpp"

#include <string>
#include <utility>
#include <vector>

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

TEST_F(GithubServiceTest, followsAllPagesAndKeepsTheirOrder) {
  for (int i = 0; i < 100; ++i) github.addPull({.repository = "octo/tools"});
  const GithubSyncRecord record = sync(kTools);
  EXPECT_EQ(record,
            (GithubSyncRecord{.syncedAt = kMorning, .cost = 4, .pullRequests = 100, .gap = GithubSyncGap::none}));
  EXPECT_EQ(run(service->integrations().lastSync(account.id, kTools.searchQuery())), record);
  EXPECT_EQ(shown(kTools), github.found(kTools.searchQuery()));
}

TEST_F(GithubServiceTest, fetchesNoMoreThanASearchHas) {
  for (int i = 0; i < 1050; ++i) github.addPull({.repository = "octo/tools"});
  const GithubSyncRecord record = sync(kTools);
  EXPECT_EQ(record.pullRequests, 1000);
  EXPECT_EQ(record.gap, GithubSyncGap::beyondLimit);
  EXPECT_THAT(shown(kTools), SizeIs(1000));
}

TEST_F(GithubServiceTest, asksAgainForWhatASearchDoesNotReturnAnyMore) {
  for (int i = 1; i <= 120; ++i) github.addPull({.repository = i <= 60 ? "octo/tools" : "octo/gone"});
  const GithubContentFilter both{.repositoryFullNames = {"octo/tools", "octo/gone"}};
  sync(both);
  for (int i = 1; i <= 60; ++i) {
    github.change("octo/tools", i, [&](SimulatedPull& pull) { pull.closed = pull.merged = i % 2 == 0; });
  }
  github.removeRepository("octo/gone");
  sync(both);
  EXPECT_EQ(shown(both), github.found(both.searchQuery()));
  EXPECT_TRUE(stored("octo/tools", 2).merged);
  EXPECT_EQ(rows("github_pull_request"), 60);
}

TEST_F(GithubServiceTest, keepsWhatCannotBeAskedAgainNow) {
  github.addPull({.repository = "octo/tools"});
  github.addPull({.repository = "octo/locked"});
  const GithubContentFilter both{.repositoryFullNames = {"octo/tools", "octo/locked"}};
  sync(both);
  for (const char* repository : {"octo/tools", "octo/locked"}) {
    github.change(repository, 1, [](SimulatedPull& pull) { pull.closed = true; });
  }
  github.intercept([](const HttpServer::Request& request, HttpServer::Connection& connection) {
    if (!request.body.contains("$o0")) return false;
    connection.respond(200, {},
                       R"({"data":{"a0":null,"a1":null},"errors":[)"
                       R"({"type":"FORBIDDEN","path":["a0"],"message":"Sign in"},)"
                       R"({"type":"NOT_FOUND","path":["a1"],"message":"Could not resolve"}]})");
    return true;
  });
  EXPECT_EQ(sync(both).gap, GithubSyncGap::unread);
  EXPECT_THAT(shown(both), ElementsAre("octo/locked#1"));
}

TEST_F(GithubServiceTest, showsOnePullRequestOfANumber) {
  github.addPull({.repository = "octo/tools"});
  sync(kTools);
  github.removeRepository("octo/tools");
  github.addPull({.repository = "octo/tools", .merged = true, .closed = true});
  sync({.repositoryFullNames = {"octo/tools"}, .state = GithubFilterState::merged});
  EXPECT_TRUE(stored("octo/tools", 1).merged);
  EXPECT_THAT(shown(kTools), IsEmpty()) << "what the repository had before it was made anew";
}

TEST_F(GithubServiceTest, losesNothingWhereAPageFails) {
  for (int i = 0; i < 90; ++i) github.addPull({.repository = "octo/tools"});
  sync(kTools);
  github.change("octo/tools", 1, [](SimulatedPull& pull) { pull.title = "New"; });
  github.change("octo/tools", 2, [](SimulatedPull& pull) { pull.closed = true; });
  github.intercept([](const HttpServer::Request& request, HttpServer::Connection& connection) {
    if (pageOf(request) != 2) return false;
    connection.respond(502, {}, "<html>Bad gateway");
    return true;
  });
  EXPECT_EQ(wordsOf(service->sync(account, kTools)), "Github returned HTTP 502");
  EXPECT_THAT(shown(kTools), SizeIs(90));
  EXPECT_EQ(stored("octo/tools", 1).title, "New");
  const auto record = run(service->integrations().lastSync(account.id, kTools.searchQuery()));
  EXPECT_EQ(record->syncedAt, kMorning);
  EXPECT_GT(record->cost, 3) << "what the failed one cost is not told";
  github.intercept({});
  sync(kTools);
  EXPECT_EQ(shown(kTools), github.found(kTools.searchQuery()));
}

TEST_F(GithubServiceTest, remembersTheUsersPartUntilItIsOver) {
  for (int i = 0; i < 4; ++i) github.addPull({.repository = "octo/tools", .reviewRequests = {"octocat"}});
  github.addPull({.repository = "octo/tools"});
  sync(kReviews);
  store.clock->advance(1min);
  sync(kTools);
  EXPECT_THAT(shown(kReviews), SizeIs(4));
  EXPECT_TRUE(stored("octo/tools", 1).involvesMe);
  EXPECT_FALSE(stored("octo/tools", 5).involvesMe);

  github.change("octo/tools", 1, [](SimulatedPull& pull) { pull.reviewRequests.clear(); });
  sync(kReviews);
  EXPECT_EQ(shown(kReviews), github.found(kReviews.searchQuery()));
  EXPECT_FALSE(stored("octo/tools", 1).involvesMe);
  EXPECT_THAT(shown(kTools), SizeIs(5));

  github.addPull({.repository = "octo/tools", .author = "OctoCat"});
  sync(kTools);
  EXPECT_TRUE(stored("octo/tools", 6).involvesMe) << "whose own it is needs no search about it";
}

TEST_F(GithubServiceTest, forgetsOnlyWhatASearchDisproves) {
  github.addPull({.repository = "octo/tools", .reviewedWithoutDecision = true, .reviewRequests = {"octocat"}});
  sync(kReviews);
  GithubContentFilter notReviewed = kReviews;
  notReviewed.review = GithubFilterReview::notReviewed;
  EXPECT_EQ(sync(notReviewed).pullRequests, 0);
  EXPECT_THAT(shown(kReviews), SizeIs(1)) << "GitHub knows of a review, and the request is still there";

  const GithubContentFilter assigned{.involvement = GithubFilterInvolvement::assigned};
  github.change("octo/tools", 1, [](SimulatedPull& pull) { pull.assignees = {"octocat"}; });
  sync(assigned);
  EXPECT_THAT(shown(kInvolved), SizeIs(1));
  github.change("octo/tools", 1, [](SimulatedPull& pull) { pull.assignees.clear(); });
  sync(assigned);
  EXPECT_THAT(shown(kInvolved), IsEmpty());
}

TEST_F(GithubServiceTest, settlesTheRestBesideWhatGithubHides) {
  for (int i = 0; i < 3; ++i) github.addPull({.repository = "octo/tools", .reviewRequests = {"octocat"}});
  sync(kReviews);
  const auto hide = [this](std::int64_t number) {
    github.change("octo/tools", number, [](SimulatedPull& pull) { pull.isHidden = true; });
  };
  github.addPull({.repository = "octo/tools", .reviewRequests = {"octocat"}, .isHidden = true});
  hide(1);
  github.change("octo/tools", 2, [](SimulatedPull& pull) { pull.reviewRequests.clear(); });
  EXPECT_EQ(sync(kReviews).gap, GithubSyncGap::unread);
  EXPECT_THAT(shown(kReviews), ElementsAre("octo/tools#3", "octo/tools#1"));
  EXPECT_THAT(wordsOf(service->pullRequest(account, {"octo/tools", 4})), HasSubstr("SAML"));
  EXPECT_EQ(run(service->pullRequest(account, {"octo/tools", 5})), std::nullopt);

  // What does not answer lets others have their turn.
  store.clock->advance(1min);
  github.change("octo/tools", 2, [](SimulatedPull& pull) { pull.title = "New"; });
  for (int i = 0; i < 2; ++i) {
    run(service->refreshStalePullRequests("github.com", "octocat", kTools, account.id, kMorning + 1min, 1));
  }
  EXPECT_EQ(stored("octo/tools", 2).title, "New");

  hide(3);
  EXPECT_THAT(wordsOf(service->sync(account, kReviews)), HasSubstr("SAML")) << "where nothing at all is returned";
}

TEST_F(GithubServiceTest, losesNothingWhereASearchChangesBetweenItsPages) {
  for (int i = 0; i < 45; ++i) github.addPull({.repository = "octo/tools"});
  sync(kTools);
  github.intercept([this](const HttpServer::Request& request, HttpServer::Connection&) {
    if (pageOf(request) == 2) github.change("octo/tools", 1, [](SimulatedPull& pull) { pull.title = "New"; });
    return false;
  });
  EXPECT_EQ(sync(kTools).gap, GithubSyncGap::none);
  EXPECT_THAT(shown(kTools), testing::UnorderedElementsAreArray(github.found(kTools.searchQuery())));
  EXPECT_EQ(stored("octo/tools", 1).title, "New") << "which moved to a page that was there already";
  github.intercept({});
  sync(kTools);
  EXPECT_EQ(shown(kTools), github.found(kTools.searchQuery()));
}

TEST_F(GithubServiceTest, keepsWhatALaterSyncReturned) {
  const auto pull = [](std::string node, std::string title) {
    return std::vector{GithubPullRequestPayload{
        .id = std::move(node), .number = 1, .title = std::move(title), .url = "", .repositoryName = "octo/tools"}};
  };
  run(service->pulls().store(pull("PR_1", "New"), kTools, account.id, {.syncedAt = kMorning + 1min}));
  for (const char* node : {"PR_1", "PR_2"}) {
    run(service->pulls().store(pull(node, "Old"), kReviews, account.id, {.syncedAt = kMorning}));
  }
  EXPECT_EQ(stored("octo/tools", 1).title, "New");
  EXPECT_FALSE(stored("octo/tools", 1).involvesMe);
  EXPECT_EQ(rows("github_pull_request"), 1);

  const auto record = [](Timestamp time) {
    return GithubSyncRecord{.syncedAt = time, .cost = 1, .pullRequests = 1, .gap = GithubSyncGap::none};
  };
  auto& integrations = service->integrations();
  run(integrations.recordSync(account.id, "text", record(kMorning + 1min)));
  run(integrations.recordSync(account.id, "text", record(kMorning)));
  EXPECT_EQ(run(integrations.lastSync(account.id, "text")), record(kMorning + 1min));
}

TEST_F(GithubServiceTest, givesEveryAnswerALaterTimeWhereverTheClockStands) {
  for (int i = 0; i < 2; ++i) github.addPull({.repository = "octo/tools"});
  github.addPull({.repository = "octo/other"});
  sync(kTools);
  store.clock->advance(-1h);
  EXPECT_GT(run(service->pullRequest(account, {"octo/other", 1})).value().syncedAt, kMorning);
  run(service->refreshStalePullRequests("github.com", "octocat", kTools, account.id, kMorning + 1us, 100));
  EXPECT_GT(stored("octo/tools", 1).syncedAt, stored("octo/other", 1).syncedAt);
}

TEST_F(GithubServiceTest, announcesOnlyWhatCanBeSeen) {
  const auto announced = [&](const GithubContentFilter& filter) { return announcedBy([&] { sync(filter); }); };
  github.addPull({.repository = "octo/tools", .reviewRequests = {"octocat"}});
  github.addPull({.repository = "octo/tools"});
  EXPECT_THAT(announced(kTools), SizeIs(2));
  store.clock->advance(1min);
  EXPECT_THAT(announced(kTools), IsEmpty());
  EXPECT_EQ(stored("octo/tools", 2).syncedAt, kMorning + 1min);

  const GithubPullRequestId one = stored("octo/tools", 1).id;
  const Change seen{one, ChangeOperation::updated};
  const Change order{account.id, ChangeOperation::updated};
  EXPECT_THAT(announced(kReviews), testing::UnorderedElementsAre(seen, order)) << "it is known to involve the user";
  EXPECT_THAT(announced(kTools), ElementsAre(order)) << "it was the latest search that returned it by itself";
  github.change("octo/tools", 1, [](SimulatedPull& pull) { pull.checkState = "SUCCESS"; });
  EXPECT_THAT(announced(kTools), testing::UnorderedElementsAre(seen, order));
  github.change("octo/tools", 1, [](SimulatedPull& pull) { pull.reviewRequests.clear(); });
  EXPECT_THAT(announced(kReviews), testing::UnorderedElementsAre(seen, order));
  const GithubPullRequestId two = stored("octo/tools", 2).id;
  github.removeRepository("octo/tools");
  EXPECT_THAT(announced(kTools), testing::UnorderedElementsAre(Change{one, ChangeOperation::removed},
                                                               Change{two, ChangeOperation::removed}));
}

}  // namespace
}  // namespace ravant::test
