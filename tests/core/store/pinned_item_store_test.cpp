#include "core/store/pinned_item_store.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::Field;

class PinnedItems : public testing::Test {
 protected:
  PinnedItems() {
    execute(
        "INSERT INTO integration (uuid, kind, created_at, host, username) VALUES (x'00000000000000000000000000000001', "
        "'github', "
        "0, 'github.com', 'ada')");
    execute(
        "INSERT INTO integration (uuid, kind, created_at, workspace_url_key, user_email) VALUES "
        "(x'00000000000000000000000000000002', 'linear', 0, 'acme', 'ada@example.com')");
  }

  void execute(const char* sql) { store.container->connect().execute(sql); }
  static Uuid uuid(char last) {
    return Uuid::parse(fmt::format("00000000-0000-0000-0000-00000000000{}", last)).value();
  }

  const GithubPullRequestsPinnedItem pulls{.integration = GithubIntegrationId(uuid('1')),
                                           .filter = {.repositoryFullNames = {"b/\"quoted\"", "a/b"},
                                                      .involvement = GithubFilterInvolvement::reviewRequested,
                                                      .state = GithubFilterState::merged,
                                                      .review = GithubFilterReview::changesRequested,
                                                      .checks = GithubFilterChecks::failing,
                                                      .draft = GithubFilterDraft::hideDrafts}};
  const LinearIssuesPinnedItem issues{.integration = LinearIntegrationId(uuid('2')),
                                      .teamKey = "ENG",
                                      .teamName = "Engineering",
                                      .sortOrder = LinearIssuesSortOrder::priority};
  TemporaryFolder folder;
  OpenStore store{folder.path()};
  std::shared_ptr<PinnedItemStore> pins = PinnedItemStore::make(store.container);
};

TEST_F(PinnedItems, keepWhatTheyShowAndTheirOrder) {
  const PinnedItem first = run(pins->create(pulls, " Mine\n"));
  const PinnedItem second = run(pins->create(issues, " "));
  const PinnedItem third = run(pins->create(pulls, std::nullopt));
  EXPECT_EQ(first, (PinnedItem{first.id, 0, "Mine", kMorning, pulls}));
  EXPECT_EQ(second, (PinnedItem{second.id, 1, std::nullopt, kMorning, issues}));

  run(pins->reorder({third.id, PinnedItemId(Uuid::random()), second.id}));
  EXPECT_TRUE(run(pins->update(first.id, issues, "Theirs")));
  EXPECT_TRUE(run(pins->remove(third.id)));
  EXPECT_FALSE(run(pins->remove(third.id)));
  EXPECT_FALSE(run(pins->update(third.id, pulls, std::nullopt)));
  const auto left = run(pins->pinnedItems());
  EXPECT_THAT(left,
              ElementsAre(Field(&PinnedItem::id, second.id), PinnedItem{first.id, 2, "Theirs", kMorning, issues}));
  EXPECT_GT(run(pins->create(pulls, std::nullopt)).sidebarOrder, left.back().sidebarOrder);
}

TEST_F(PinnedItems, belongToAnIntegrationOfTheirKind) {
  const PinnedItem pin = run(pins->create(issues, std::nullopt));
  LinearIssuesPinnedItem wrong = issues;
  wrong.integration = LinearIntegrationId(uuid('1'));
  const auto expectUnknown = [&](const auto& operation) {
    try {
      operation();
      ADD_FAILURE() << "it was stored";
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), "unknown integration " + wrong.integration.text());
    }
  };
  expectUnknown([&] { run(pins->create(wrong, std::nullopt)); });
  expectUnknown([&] { run(pins->update(pin.id, wrong, std::nullopt)); });
  run(pins->create(pulls, std::nullopt));
  execute("PRAGMA foreign_keys = ON; DELETE FROM integration WHERE kind = 'linear'");
  EXPECT_THAT(run(pins->pinnedItems()), ElementsAre(Field(&PinnedItem::detail, PinnedItem::Detail(pulls))));
}

TEST_F(PinnedItems, choicesThatOnlyANewerVersionKnowsAreTheUsualOnes) {
  run(pins->create(pulls, std::nullopt));
  run(pins->create(issues, std::nullopt));
  execute("UPDATE pinned_item SET involvement = 'watched', checks = 'skipped', sort_order_string = 'estimate'");
  const auto read = run(pins->pinnedItems());
  GithubPullRequestsPinnedItem usualPulls = pulls;
  usualPulls.filter.involvement = GithubFilterInvolvement::anyone;
  usualPulls.filter.checks = GithubFilterChecks::any;
  LinearIssuesPinnedItem usualIssues = issues;
  usualIssues.sortOrder = LinearIssuesSortOrder::lastUpdated;
  EXPECT_THAT(read, ElementsAre(Field(&PinnedItem::detail, PinnedItem::Detail(usualPulls)),
                                Field(&PinnedItem::detail, PinnedItem::Detail(usualIssues))));
}

TEST_F(PinnedItems, haveATitle) {
  const auto titleOf = [](PinnedItem::Detail detail, std::optional<std::string> custom = {}) {
    return displayTitle({.id = {}, .sidebarOrder = 0, .customTitle = custom, .createdAt = {}, .detail = detail});
  };
  EXPECT_EQ(titleOf(GithubPullRequestsPinnedItem{}), "Open pull requests involving me");
  EXPECT_EQ(titleOf(pulls),
            "Merged pull requests to review in 2 repositories, changes requested, checks failing, hide drafts");
  EXPECT_EQ(titleOf(GithubPullRequestsPinnedItem{.filter = {.repositoryFullNames = {"a/b"}}}),
            "Open pull requests in a/b");
  EXPECT_EQ(titleOf(issues), "Engineering");
  EXPECT_EQ(titleOf(issues, "Mine"), "Mine");
}

}  // namespace
}  // namespace ravant::test
