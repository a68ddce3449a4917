#include "palette/command_palette_model.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "platform/text/text.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* kServices = R"sql(
INSERT INTO integration (id, uuid, kind, created_at, host, username)
  VALUES (1, x'00000000000000000000000000000001', 'github', 1, 'github.com', 'octocat');
INSERT INTO integration (id, uuid, kind, created_at, workspace_url_key, workspace_name, user_email)
  VALUES (2, x'00000000000000000000000000000002', 'linear', 2, 'acme', 'Acme Works', 'me@acme.example');
INSERT INTO pinned_item (uuid, kind, integration_id, sidebar_order, created_at, team_key, team_name, sort_order_string)
  VALUES (x'00000000000000000000000000000003', 'linearIssues', 2, 0, 1, 'ENG', 'Engineering', 'priority');
INSERT INTO linear_issue (id, integration_id, issue_id, identifier, title, state_name, state_color_hex, state_type_raw,
  priority, priority_label, team_key, team_name, url, created_at, updated_at)
  VALUES (7, 2, 'i7', 'ENG-7', 'Mend the reader', 'Todo', '#fff', 'unstarted', 0, '', 'ENG', 'Engineering', 'u', 1, 1);
INSERT INTO github_pull_request (id, integration_id, node_id, number, title, url, is_draft, merged, closed,
  repository_name, involvement, rank, synced_at, asked_at)
  VALUES (4, 1, 'n4', 12, 'Read lines', 'u4', 0, 0, 0, 'octo/tools', 1, 0, 1, 1),
         (5, 1, 'n5', 13, 'Merged long ago', 'u5', 0, 1, 1, 'octo/tools', 1, 1, 1, 1);
)sql";

class PaletteTest : public testing::Test, public WindowState::Face, public CommandPaletteModel::Observer {
 protected:
  PaletteTest() {
    await([this]() -> awaitable<void> {
      feed = co_await store.container->changeFeed()->subscribe(loop.get_executor());
    }());
    asio::co_spawn(loop, hand(feed), [](std::exception_ptr) {});
  }
  ~PaletteTest() override {
    palette = nullptr;
    feed->end();
    run(window->close(), loop);
  }

  awaitable<void> hand(std::shared_ptr<ChangeSubscription> from) {
    while (const auto batch = co_await from->next()) {
      ++batches;
      if (palette) palette->take(*batch);
    }
  }

  void windowChanged() override {}
  void perform(WindowCommand command) override { performed.emplace_back(description(command).name); }
  bool canPerform(WindowCommand command) const override { return command != WindowCommand::archive; }
  void paletteChanged() override { ++changes; }

  void configure(CommandPaletteOptions options) {
    if (palette) palette->close();
    options.interface = loop.get_executor();
    palette = std::make_shared<CommandPaletteModel>(std::move(options));
    palette->configure(window, store.container, [this] { performed.emplace_back("openSettings"); });
    palette->setObserver(this);
  }
  /// The loop is never empty: the feed is waited for.
  void await(awaitable<void> operation) {
    bool isDone = false;
    std::exception_ptr error;
    asio::co_spawn(loop, std::move(operation), [&](std::exception_ptr thrown) {
      error = thrown;
      isDone = true;
    });
    loop.restart();
    while (!isDone) loop.run_one();
    if (error) std::rethrow_exception(error);
  }
  void awaitChange() {
    loop.restart();
    for (const int before = changes; changes == before;) loop.run_one();
  }
  void open() { await(palette->open()); }

  std::vector<std::string> ids(const std::string& title) const {
    std::vector<std::string> found;
    for (const CommandPaletteSection& section : palette->sections()) {
      if (section.title != title) continue;
      for (const CommandPaletteItem& item : section.items) found.push_back(item.id);
    }
    return found;
  }
  std::vector<std::string> titles() const {
    std::vector<std::string> found;
    for (const CommandPaletteSection& section : palette->sections()) found.push_back(section.title);
    return found;
  }
  CommandPaletteItem itemWithID(const std::string& id) const {
    for (const CommandPaletteSection& section : palette->sections()) {
      for (const CommandPaletteItem& item : section.items) {
        if (item.id == id) return item;
      }
    }
    throw std::logic_error("no item " + id);
  }
  void execute(const std::string& id) { await(palette->execute(itemWithID(id))); }

  ConversationId addConversation(const std::string& title) {
    const auto id = run(store.conversations->createConversation(project, std::nullopt)).value();
    if (!title.empty()) run(store.conversations->renameConversation(id, title));
    return id;
  }

  TemporaryFolder folder;
  OpenStore store{folder.path(), std::chrono::seconds(1)};
  asio::io_context loop;
  std::shared_ptr<WindowState> window = std::make_shared<WindowState>("main", loop.get_executor(), *this);
  std::shared_ptr<CommandPaletteModel> palette;
  std::vector<std::string> performed;
  std::shared_ptr<ChangeSubscription> feed;
  int batches = 0;
  int changes = 0;
  ProjectId project = run(store.projects->create("/home/user/api", "api")).id;
};

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
  EXPECT_THAT(ids("Commands"), ElementsAre("command.newConversation", "command.allConversations",
                                           "command.addNewProject", "command.focusInput", "command.settings",
                                           "command.toggleGitChanges", "command.nextNeedingMe", "command.chooseModel"));
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

TEST_F(PaletteTest, followsTheStoreWhileItIsOpen) {
  const ConversationId kept = addConversation("Kept");
  const ConversationId gone = addConversation("Gone");
  const std::string keptId = CommandPaletteModel::conversationItemID(kept);
  const std::string goneId = CommandPaletteModel::conversationItemID(gone);
  configure({});
  open();
  execute(goneId);
  palette->setQuery("o");
  EXPECT_THAT(ids("Recent"), ElementsAre(goneId));
  run(store.conversations->deleteConversation(gone));
  awaitChange();
  EXPECT_THAT(ids("Recent"), IsEmpty());

  palette->setQuery("");
  palette->setSelectedIndex(8);
  ASSERT_EQ(palette->selectedItem()->id, keptId);
  const std::string added = CommandPaletteModel::conversationItemID(addConversation("Added"));
  // It is made and then named: the palette may hear of both at once or not.
  const auto isShown = [&] { return ids("Conversations").size() == 2 && itemWithID(added).title == "Added"; };
  while (!isShown()) awaitChange();
  EXPECT_THAT(ids("Conversations"), ElementsAre(added, keptId));
  EXPECT_EQ(palette->selectedItem()->id, keptId);  // though it moved

  run(store.projects->remove(project));
  while (!ids("Projects").empty()) awaitChange();
  EXPECT_THAT(titles(), ElementsAre("Commands"));

  palette->close();
  const int before = changes;
  run(store.projects->create("/home/user/late", "late"));
  for (const int heard = batches; batches == heard;) loop.run_one();
  EXPECT_EQ(changes, before);
}

TEST_F(PaletteTest, isLeftAloneByWhatChangesNothingItShows) {
  const ConversationId conversation = addConversation("Talk");
  configure({});
  open();
  const int before = changes;
  run(store.items->appendUserPrompt(conversation, "Go on", AgentType::claude));
  for (const int heard = batches; batches == heard;) loop.run_one();
  run(store.conversations->renameConversation(conversation, "Talk on"));
  while (itemWithID(ids("Conversations").front()).title != "Talk on") loop.run_one();
  EXPECT_EQ(changes - before, 1);
}

TEST_F(PaletteTest, offersWhatIsKnownWhileItReads) {
  const std::string first = CommandPaletteModel::conversationItemID(addConversation("First"));
  const std::string second = CommandPaletteModel::conversationItemID(addConversation("Second"));
  configure({});
  open();
  palette->setQuery("first");
  palette->close();
  const int before = changes;
  bool isOpen = false;
  asio::co_spawn(loop, palette->open(), [&](std::exception_ptr) { isOpen = true; });
  while (changes == before) loop.run_one();
  EXPECT_FALSE(isOpen);
  EXPECT_THAT(ids("Conversations"), ElementsAre(second, first));
  while (palette->selectedItem()->id != first) palette->setSelectedIndex(palette->selectedIndex() + 1);
  // It is used before that is known of the store, and another one comes.
  asio::co_spawn(loop, palette->execute(itemWithID(second)), [](std::exception_ptr) {});
  while (!isOpen) loop.run_one();
  EXPECT_THAT(ids("Recent"), ElementsAre(second));
  EXPECT_EQ(palette->selectedItem()->id, first);
}

TEST_F(PaletteTest, readsEverythingAgainAfterAFailure) {
  configure({});
  sqlite::Database other = store.container->connect();
  other.execute("ALTER TABLE palette_use RENAME TO elsewhere");
  EXPECT_THROW(open(), StoreError);
  EXPECT_THAT(titles(), ElementsAre("Commands"));
  other.execute("ALTER TABLE elsewhere RENAME TO palette_use");
  addConversation("Talk");
  while (ids("Projects").empty()) loop.run_one();
}

TEST_F(PaletteTest, actsBeforeItStoresThat) {
  configure({});
  open();
  {
    sqlite::Database other = store.container->connect();
    const sqlite::Transaction writing(other);
    execute("command.focusInput");
    EXPECT_THAT(performed, ElementsAre("focusInput"));
    EXPECT_THAT(ids("Recent"), ElementsAre("command.focusInput"));
    open();
    EXPECT_THAT(ids("Recent"), ElementsAre("command.focusInput"));
  }
  execute("command.settings");
  configure({});
  open();
  EXPECT_THAT(ids("Recent"), ElementsAre("command.settings", "command.focusInput"));
}

TEST_F(PaletteTest, canGoWhileItReads) {
  configure({});
  open();
  palette->take({.changes = {}, .isIncomplete = true});
  loop.run_one();
  const std::weak_ptr<CommandPaletteModel> left = palette;
  palette = nullptr;
  EXPECT_TRUE(left.expired());
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
