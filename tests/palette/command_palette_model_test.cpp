#include "tests/palette/command_palette_model_test.hpp"

#include <random>

#include "platform/text/text.hpp"

namespace ravant::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

TEST_F(PaletteTest, showsEachKindInItsSection) {
  store.container->connect().execute(kServices);
  const ConversationId conversation = addConversation("");
  run(store.items->appendUserPrompt(conversation, "\n Mend the <b>reader</b>\nplease", AgentType::claude));
  const ConversationId archived = addConversation("Put away");
  run(store.conversations->archiveConversation(archived));
  addConversation("Being imported");
  store.container->connect().execute("UPDATE conversation SET importer = 'process' WHERE title = 'Being imported'");
  configure({});
  open();
  EXPECT_THAT(titles(), ElementsAre("Commands", "Conversations", "Projects", "Pinned", "Integrations", "Linear Issues",
                                    "Pull Requests"));
  // There is no way back yet: the first of the commands behind stand in the place of two.
  EXPECT_THAT(ids("Commands"),
              ElementsAre("command.newConversation", "command.allConversations", "command.addNewProject",
                          "command.focusInput", "command.settings", "command.toggleGitChanges",
                          "command.newConversationInOtherProject", "command.nextNeedingMe"));
  EXPECT_THAT(ids("Conversations"), ElementsAre(CommandPaletteModel::conversationItemID(conversation)));
  EXPECT_THAT(ids("Projects"), ElementsAre(CommandPaletteModel::projectItemID(project)));
  EXPECT_THAT(ids("Pinned"), ElementsAre("pinned.00000000-0000-0000-0000-000000000003"));
  EXPECT_THAT(ids("Integrations"), ElementsAre("integration.00000000-0000-0000-0000-000000000001",
                                               "integration.00000000-0000-0000-0000-000000000002"));
  EXPECT_THAT(ids("Linear Issues"), ElementsAre("linearIssue.7"));
  EXPECT_THAT(ids("Pull Requests"), ElementsAre(CommandPaletteModel::githubPullItemID(GithubPullRequestId(4))));

  const CommandPaletteItem begun = itemWithID(ids("Projects").front());
  EXPECT_EQ(begun.title, "New Conversation · api");
  EXPECT_EQ(begun.image, CommandPaletteItemImage::system("folder"));
  EXPECT_EQ(itemWithID(ids("Conversations").front()).title, "Mend the <b>reader</b>");
  EXPECT_EQ(itemWithID("command.focusInput").shortcutHint, "Ctrl+L");

  palette->setQuery("new conv");
  EXPECT_THAT(titles(), ElementsAre("Commands", "Projects"));
  palette->setQuery("eng-7");
  EXPECT_THAT(titles(), ElementsAre("Linear Issues"));
  palette->setQuery("TOOLS#12");
  EXPECT_THAT(titles(), ElementsAre("Pull Requests"));
  palette->setQuery("nothing is called so");
  EXPECT_THAT(palette->sections(), IsEmpty());
  EXPECT_EQ(palette->selectedItem(), nullptr);
}

TEST_F(PaletteTest, ranksByScoreThenUseThenSource) {
  const std::string apart = CommandPaletteModel::conversationItemID(addConversation("A long plan"));
  const std::string inside = CommandPaletteModel::conversationItemID(addConversation("Escapade"));
  const std::string word = CommandPaletteModel::conversationItemID(addConversation("An ape"));
  const std::string older = CommandPaletteModel::conversationItemID(addConversation("Apes"));
  const std::string newer = CommandPaletteModel::conversationItemID(addConversation("Apples"));
  configure({.recentItems = 0});
  open();
  palette->setQuery("ap");
  EXPECT_THAT(ids("Conversations"), ElementsAre(newer, older, word, inside, apart));
  palette->setQuery("");
  execute(apart);
  execute(older);
  palette->setQuery("ap");
  EXPECT_THAT(ids("Conversations"), ElementsAre(older, newer, word, inside, apart));
  palette->setQuery("");
  EXPECT_THAT(ids("Conversations"), ElementsAre(older, apart, newer, word, inside));

  configure({.sectionItems = 2, .recentItems = 0});
  open();
  palette->setQuery("ap");
  EXPECT_THAT(ids("Conversations"), ElementsAre(older, newer));
}

TEST_F(PaletteTest, showsWhatWasUsedLastAndStillExists) {
  store.container->connect().execute(kServices);
  const ConversationId first = addConversation("First");
  const ConversationId second = addConversation("Second");
  const std::string firstId = CommandPaletteModel::conversationItemID(first);
  const std::string secondId = CommandPaletteModel::conversationItemID(second);
  configure({.recentItems = 3});
  open();
  for (const std::string& id : {std::string("command.focusInput"), firstId, std::string("githubPull.4"), secondId}) {
    execute(id);
  }
  EXPECT_THAT(ids("Recent"), ElementsAre(secondId, "githubPull.4", firstId));
  EXPECT_THAT(ids("Conversations"), IsEmpty());
  EXPECT_THAT(ids("Commands"), Contains("command.focusInput"));

  // A window without a page for pull requests.
  configure({.recentItems = 3, .left = {PaletteSection::pullRequests}});
  open();
  EXPECT_THAT(ids("Recent"), ElementsAre(secondId, firstId, "command.focusInput"));
  EXPECT_THAT(ids("Pull Requests"), IsEmpty());

  // In the next start: one was archived, another one closed, another one deleted.
  run(store.conversations->archiveConversation(first));
  run(store.conversations->deleteConversation(second));
  store.container->connect().execute("UPDATE github_pull_request SET closed = 1 WHERE id = 4");
  configure({.recentItems = 3});
  open();
  EXPECT_THAT(ids("Recent"), ElementsAre("githubPull.4", firstId, "command.focusInput"));
  EXPECT_THAT(ids("Pull Requests"), IsEmpty());
  EXPECT_THAT(ids("Commands"), Not(Contains("command.focusInput")));
  palette->setQuery("fir");
  EXPECT_THAT(ids("Recent"), ElementsAre(firstId));
}

TEST_F(PaletteTest, actsOnItsWindow) {
  store.container->connect().execute(kServices);
  const ConversationId conversation = addConversation("Talk");
  await(window->restoreLastSelection(store.container));
  configure({});
  open();
  const auto selectionAfter = [&](const std::string& id) {
    execute(id);
    return window->selection();
  };
  using Selection = WindowState::Selection;
  const Uuid one = Uuid::parse("00000000-0000-0000-0000-000000000001").value();
  const Uuid two = Uuid::parse("00000000-0000-0000-0000-000000000002").value();
  const Uuid three = Uuid::parse("00000000-0000-0000-0000-000000000003").value();
  EXPECT_EQ(selectionAfter(CommandPaletteModel::conversationItemID(conversation)),
            (Selection{LatestConversations(), conversation}));
  EXPECT_EQ(selectionAfter(CommandPaletteModel::projectItemID(project)),
            (Selection{project, NewConversation{project}}));
  EXPECT_EQ(selectionAfter("linearIssue.7"), (Selection{LinearIntegrationId(two), LinearIssueId(7)}));
  EXPECT_EQ(selectionAfter("githubPull.4"), (Selection{GithubIntegrationId(one), GithubPullRequestId(4)}));
  EXPECT_EQ(selectionAfter("pinned." + three.text()), (Selection{PinnedItemId(three), {}}));
  EXPECT_EQ(selectionAfter("integration." + two.text()), (Selection{LinearIntegrationId(two), {}}));
  EXPECT_EQ(selectionAfter("command.goBack"), (Selection{PinnedItemId(three), {}}));
  execute("command.toggleGitChanges");
  palette->rebuildResults();
  EXPECT_EQ(itemWithID("command.toggleGitChanges").title, "Hide Git Changes");
  execute("command.settings");
  execute("command.focusInput");
  EXPECT_THAT(performed, ElementsAre("openSettings", "focusInput"));
}

TEST_F(PaletteTest, findsTheSameHoweverAQueryWasTyped) {
  std::mt19937 random(7);
  const auto words = [&](std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += "abc "[random() % 4];
    return text;
  };
  struct Written {
    std::string title;
    std::string id;
  };
  std::vector<Written> newestFirst;
  for (int i = 0; i < 60; ++i) {
    const std::string title = "x" + words(8) + "x";
    newestFirst.insert(newestFirst.begin(), {title, CommandPaletteModel::conversationItemID(addConversation(title))});
  }
  const auto expected = [&](const std::string& query) {
    std::vector<std::string> best;
    for (const int score : {0, 1, 2, 3}) {
      for (const auto& [title, id] : newestFirst) {
        if (matchScore(query, oneLine(title)) == score && best.size() < 7) best.push_back(id);
      }
    }
    return best;
  };
  configure({.sectionItems = 7});
  open();
  for (int round = 0; round < 40; ++round) {
    const std::string query = words(4);
    for (std::size_t size = 0; size <= query.size(); ++size) palette->setQuery(query.substr(0, size));
    EXPECT_EQ(ids("Conversations"), expected(query)) << query;
    palette->setQuery(query.substr(0, 2));
    EXPECT_EQ(ids("Conversations"), expected(query.substr(0, 2))) << query;
  }
}

}  // namespace
}  // namespace ravant::test
