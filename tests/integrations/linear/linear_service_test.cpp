#include "integrations/linear/linear_service.hpp"

#include <boost/asio/use_future.hpp>

#include "core/store/pinned_item_store.hpp"
#include "tests/integrations/linear/linear_test.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Query = SimulatedLinear::Query;
using enum LinearIssuesSortOrder;

std::vector<std::string> identifiers(const std::vector<LinearIssue>& issues) {
  std::vector<std::string> found;
  for (const LinearIssue& issue : issues) found.push_back(issue.identifier);
  return found;
}

class LinearServiceTest : public LinearTest {
 protected:
  LinearServiceTest() {
    linear.change([](LinearWorkspace& acme) { acme.issues = linearIssues(120); });
  }
  ~LinearServiceTest() override { run(service->shutdown()); }

  LinearIntegration add() { return run(service->add(kLinearKey + "\n"), loop); }
  std::vector<LinearIssue> issues(const LinearIntegration& of, LinearIssuesSortOrder order = lastUpdated) {
    return run(service->issues(of.id, std::nullopt, order), loop);
  }
  std::string titleOf(const std::string& identifier, const LinearIntegration& of) {
    const auto issue = run(service->issue(of.id, identifier), loop);
    return issue ? issue->title : "(none)";
  }
  awaitable<void> syncTeams(const LinearIntegration& of) {
    return service->syncTeams(of.workspaceUrlKey, of.userEmail, of.id);
  }

  /// What `operation` changes, in words.
  template <class Result>
  std::vector<std::string> changesBy(awaitable<Result> operation) {
    const auto feed = store.container->changeFeed();
    const auto subscription = run(feed->subscribe(loop.get_executor()), loop);
    run(std::move(operation), loop);
    run(feed->flush(), loop);
    subscription->end();
    std::vector<std::string> found;
    while (const auto batch = run(subscription->next(), loop)) {
      for (const auto& [entity, kind, conversation, growth, state] : batch->changes) {
        const char* const what = kind == ChangeOperation::inserted  ? "inserted"
                                 : kind == ChangeOperation::updated ? "updated"
                                                                    : "removed";
        found.push_back(std::visit([&](const auto& id) { return fmt::format("{} {}", what, id.text()); }, entity));
      }
    }
    return found;
  }

  /// Has what the handler of a request does while the request waits done on the loop of the test.
  template <class Result>
  void doMeanwhile(awaitable<Result> operation) {
    asio::co_spawn(loop, std::move(operation), asio::use_future).wait();
  }

  std::shared_ptr<LinearService> service = LinearService::make(store.container, connection());
};

TEST_F(LinearServiceTest, aWorkspaceIsAddedWithItsKeyAndGetsANewOne) {
  const LinearIntegration acme = add();
  EXPECT_EQ(acme, (LinearIntegration{acme.id, "acme", "Acme", "Ada", "ada@example.com", kMorning}));
  EXPECT_EQ(keyStore->read(kLinearKeyName), kLinearKey);

  linear.change([](LinearWorkspace& same) { same.organization["name"] = "Acme Ltd"; }, "lin_api_second");
  const LinearIntegration again = run(service->add("lin_api_second"), loop);
  EXPECT_EQ(again.id, acme.id);
  EXPECT_EQ(again.workspaceName, "Acme Ltd");
  EXPECT_EQ(keyStore->read(kLinearKeyName), "lin_api_second");
  linear.change([](LinearWorkspace& other) { other.organization["urlKey"] = "other"; }, "lin_api_other");
  run(service->add("lin_api_other"), loop);
  EXPECT_THAT(run(service->integrations(), loop),
              ElementsAre(again, testing::Field(&LinearIntegration::workspaceUrlKey, "other")));
}

TEST_F(LinearServiceTest, aKeyThatCannotBeUsedOrStoredAddsNothing) {
  EXPECT_EQ(failureOf(service->add(" \n")), "the API key is empty");
  EXPECT_THAT(failureOf(service->add("two words")), StartsWith("the API key has spaces"));
  EXPECT_THAT(failureOf(service->add("lin_api_wrong")), StartsWith("Linear rejected the API key."));
  folder.write("keys.json", "no file of keys");
  EXPECT_THAT(failureOf(service->add(kLinearKey)), StartsWith("Couldn't store the API key in the keychain: "));
  EXPECT_THAT(run(service->integrations(), loop), IsEmpty());
  std::filesystem::remove(folder / "keys.json");

  std::filesystem::rename(folder / "store" / "store.sqlite", folder / "away.sqlite");
  EXPECT_NE(failureOf(service->add(kLinearKey)), "");
  EXPECT_EQ(keyStore->read(kLinearKeyName), std::nullopt);
}

TEST_F(LinearServiceTest, allPagesReplaceWhatWasStoredAndOnlyDifferencesAreAnnounced) {
  const LinearIntegration acme = add();
  EXPECT_EQ(run(service->syncIssues(acme), loop), (LinearIssuesRefresh{.issues = 120, .unreadable = 0}));
  EXPECT_THAT(linear.cursors(), ElementsAre("", "issue-71", "issue-21"));
  const std::vector<LinearIssue> before = issues(acme);
  ASSERT_THAT(before, SizeIs(120));
  EXPECT_EQ(before[0].identifier, "ENG-120");
  EXPECT_EQ(before[0].projectName, std::nullopt);
  EXPECT_THAT(changesBy(service->syncIssues(acme)), IsEmpty());

  linear.change([](LinearWorkspace& changed) {
    changed.issues[0]["state"] = {{"name", "Done"}, {"type", "completed"}, {"color", "#000"}};
    changed.issues[1]["title"] = "Renamed";
    changed.issues.push_back(linearIssue(121));
  });
  const auto changes = changesBy(service->syncIssues(acme));
  const std::vector<LinearIssue> after = issues(acme);
  EXPECT_THAT(changes, ElementsAre("inserted " + after[0].id.text(), "updated " + before[118].id.text(),
                                   "removed " + before[119].id.text()));
  EXPECT_EQ(titleOf("eng-2", acme), "Renamed");
  EXPECT_EQ(titleOf("ENG-1", acme), "(none)");
}

TEST_F(LinearServiceTest, aPageAtATimeAddsToTheFirst) {
  const LinearIntegration acme = add();
  run(service->syncIssues(acme), loop);
  const auto syncPage = [&](std::optional<std::string> after) {
    return run(service->syncAssignedIssues("acme", "ada@example.com", std::move(after), acme.id), loop);
  };
  const LinearPageInfo first = syncPage(std::nullopt);
  EXPECT_EQ(first, (LinearPageInfo{.hasNextPage = true, .endCursor = "issue-71"}));
  EXPECT_THAT(issues(acme), SizeIs(50));
  EXPECT_EQ(syncPage(syncPage(first.endCursor).endCursor).hasNextPage, false);
  EXPECT_THAT(issues(acme), SizeIs(120));
}

TEST_F(LinearServiceTest, aRefreshThatBreaksOffLeavesEverything) {
  const LinearIntegration acme = add();
  run(service->syncIssues(acme), loop);
  const std::vector<LinearIssue> before = issues(acme);
  linear.change(
      [](LinearWorkspace& changed) { changed.issues.erase(changed.issues.begin(), changed.issues.begin() + 5); });
  const SimulatedLinear::Answer cut = [](HttpServer::Connection& connection) {
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{");
    connection.close();
  };
  for (int page = 1; page <= 3; ++page) {
    for (const auto& answer : {linearAnswer(429, ""), linearAnswer(200, "{\"data\":{"), cut}) {
      linear.answerInstead(Query::assignedIssues, page, answer);
      EXPECT_NE(failureOf(service->syncIssues(acme)), "");
      EXPECT_TRUE(issues(acme) == before);
    }
  }
  run(service->syncIssues(acme), loop);
  EXPECT_THAT(issues(acme), SizeIs(115));
}

TEST_F(LinearServiceTest, anIssueThatCannotBeReadStaysAsItWas) {
  const LinearIntegration acme = add();
  run(service->syncIssues(acme), loop);
  linear.change([](LinearWorkspace& changed) {
    changed.issues[2]["createdAt"] = "soon";
    changed.issues[2]["title"] = "unseen";
    changed.issues[3]["title"] = "seen";
  });
  EXPECT_EQ(run(service->syncIssues(acme), loop), (LinearIssuesRefresh{.issues = 119, .unreadable = 1}));
  EXPECT_EQ(titleOf("ENG-3", acme), "Title 3");
  EXPECT_EQ(titleOf("ENG-4", acme), "seen");
}

TEST_F(LinearServiceTest, pagesWithoutAnEndAreRefused) {
  const LinearIntegration acme = add();
  const auto page = [](std::string_view cursor) {
    return linearAnswer(200, fmt::format(R"({{"data":{{"viewer":{{"assignedIssues":{{"nodes":[],)"
                                         R"("pageInfo":{{"hasNextPage":true,"endCursor":{}}}}}}}}}}})",
                                         cursor));
  };
  linear.answerInstead(Query::assignedIssues, 1, page("null"));
  EXPECT_EQ(failureOf(service->syncIssues(acme)), "Couldn't decode Linear response: the pages of issues do not end");
  for (const int nth : {1, 2}) linear.answerInstead(Query::assignedIssues, nth, page("\"same\""));
  EXPECT_THAT(failureOf(service->syncIssues(acme)), testing::EndsWith("do not end"));
  for (int nth = 1; nth <= 200; ++nth) {
    linear.answerInstead(Query::assignedIssues, nth, page(fmt::format("\"{}\"", nth)));
  }
  EXPECT_THAT(failureOf(service->syncIssues(acme)), testing::EndsWith("do not end"));
  EXPECT_THAT(linear.cursors(), IsEmpty());
}

TEST_F(LinearServiceTest, teamsThatAreGoneAreRemovedUnlessLinearMayHaveMore) {
  const LinearIntegration acme = add();
  linear.change([](LinearWorkspace& has) {
    has.teams = {linearTeam("OPS", "operations"), linearTeam("ENG", "Engineering"), linearTeam("ART", "Art")};
    has.teams[2]["color"] = nullptr;
  });
  run(syncTeams(acme), loop);
  const auto teams = run(service->teams(acme.id), loop);
  ASSERT_THAT(teams, SizeIs(3));
  EXPECT_EQ(teams[0], (LinearTeam{teams[0].id, acme.id, "team-ART", "ART", "Art", std::nullopt}));
  EXPECT_EQ(teams[2].key, "OPS");

  const auto pins = PinnedItemStore::make(store.container);
  const LinearIssuesPinnedItem shown{.integration = acme.id, .teamKey = "ART", .teamName = "Art"};
  run(pins->create(shown, std::nullopt));
  linear.change([](LinearWorkspace& has) {
    has.teams.pop_back();
    has.teams[1]["name"] = "Builders";
  });
  EXPECT_THAT(changesBy(syncTeams(acme)),
              ElementsAre("updated " + teams[1].id.text(), "removed " + teams[0].id.text()));
  EXPECT_EQ(run(pins->pinnedItems()).at(0).detail, PinnedItem::Detail(shown));

  linear.change([](LinearWorkspace& has) {
    has.teams.clear();
    for (int i = 0; i < 100; ++i) has.teams.push_back(linearTeam(fmt::format("T{}", i), "Team"));
  });
  run(syncTeams(acme), loop);
  EXPECT_THAT(run(service->teams(acme.id), loop), SizeIs(102));
}

TEST_F(LinearServiceTest, issuesStandInTheOrderThatIsAskedFor) {
  const LinearIntegration acme = add();
  const auto issue = [](int number, int priority, const char* created, const char* updated, const char* team = "ENG") {
    return linearIssue(number, {{"priority", priority},
                                {"createdAt", fmt::format("2026-11-{}T00:00:00Z", created)},
                                {"updatedAt", fmt::format("2026-11-{}T00:00:00Z", updated)},
                                {"team", {{"key", team}, {"name", "Team"}}}});
  };
  linear.change([&](LinearWorkspace& has) {
    has.issues = {issue(10, 0, "01", "20"), issue(9, 0, "01", "20"), issue(3, 4, "02", "15"), issue(4, 1, "01", "10"),
                  issue(5, 4, "01", "16", "OPS")};
  });
  run(service->syncIssues(acme), loop);
  EXPECT_THAT(identifiers(issues(acme, lastUpdated)), ElementsAre("ENG-9", "ENG-10", "ENG-5", "ENG-3", "ENG-4"));
  EXPECT_THAT(identifiers(issues(acme, created)), ElementsAre("ENG-3", "ENG-9", "ENG-10", "ENG-5", "ENG-4"));
  EXPECT_THAT(identifiers(issues(acme, priority)), ElementsAre("ENG-4", "ENG-5", "ENG-3", "ENG-9", "ENG-10"));
  EXPECT_THAT(identifiers(run(service->issues(acme.id, "OPS", priority), loop)), ElementsAre("ENG-5"));
}

TEST_F(LinearServiceTest, aRefreshThatRunsIsWaitedFor) {
  const LinearIntegration acme = add();
  Gate bothHaveBegun;
  linear.answerInstead(Query::assignedIssues, 1, [&](HttpServer::Connection& connection) {
    connection.wait(bothHaveBegun);
    linearAnswer(200,
                 R"({"data":{"viewer":{"assignedIssues":{"pageInfo":{"hasNextPage":false},"nodes":[]}}}})")(connection);
  });
  const auto openBehindThem = [&]() -> awaitable<void> {
    // It is refused behind what was asked of the service before.
    EXPECT_THROW(co_await service->add(""), LinearKeyError);
    bothHaveBegun.open();
  };
  const std::size_t before = linear.requests().size();
  auto first = asio::co_spawn(loop, service->syncIssues(acme), asio::use_future);
  auto second = asio::co_spawn(loop, service->syncIssues(acme), asio::use_future);
  run(openBehindThem(), loop);
  EXPECT_EQ(first.get(), second.get());
  EXPECT_EQ(linear.requests().size(), before + 1);
}

TEST_F(LinearServiceTest, aWorkspaceIsForgottenAlsoWhileItIsSynced) {
  const LinearIntegration acme = add();
  run(service->syncIssues(acme), loop);
  run(PinnedItemStore::make(store.container)->create(LinearIssuesPinnedItem{acme.id, "ENG", "E"}, {}));
  linear.answerInstead(Query::assignedIssues, 2, [&](HttpServer::Connection& connection) {
    doMeanwhile(service->remove(acme.id));
    connection.close();
  });
  const std::string unknown = "unknown integration " + acme.id.text();
  EXPECT_EQ(failureOf(service->syncIssues(acme)), unknown);
  EXPECT_EQ(keyStore->read(kLinearKeyName), std::nullopt);
  EXPECT_THAT(run(PinnedItemStore::make(store.container)->pinnedItems()), IsEmpty());
  EXPECT_EQ(failureOf(syncTeams(acme)), unknown);
  EXPECT_EQ(failureOf(service->issues(acme.id, {}, priority)), unknown);
  EXPECT_FALSE(run(service->remove(acme.id), loop));

  const LinearIntegration back = add();
  EXPECT_THAT(issues(back), IsEmpty());
  run(service->syncIssues(back), loop);
  EXPECT_THAT(issues(back), SizeIs(120));
}

TEST_F(LinearServiceTest, aKeyStoreThatFailsKeepsNobodyFromRemoving) {
  const LinearIntegration acme = add();
  folder.write("keys.json", "no file of keys");
  EXPECT_THAT(failureOf(service->remove(acme.id)),
              StartsWith("The workspace is removed, but its API key couldn't be deleted from the keychain: "));
  EXPECT_THAT(run(service->integrations(), loop), IsEmpty());
}

TEST_F(LinearServiceTest, theEndOfTheProgramEndsRequests) {
  const LinearIntegration acme = add();
  linear.answerInstead(Query::assignedIssues, 1, [&](HttpServer::Connection&) { doMeanwhile(service->shutdown()); });
  EXPECT_EQ(failureOf(service->syncIssues(acme)), "Network error: cancelled");
  EXPECT_EQ(failureOf(syncTeams(acme)), "Network error: cancelled");
  EXPECT_EQ(failureOf(service->add(kLinearKey)), "Network error: cancelled");
}

}  // namespace
}  // namespace ravant::test
