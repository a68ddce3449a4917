#include "core/window/window_state.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "core/window/window_selection_wire.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Selection = WindowState::Selection;

const Uuid kUuid = Uuid::parse("5f2c7f1e-8a35-4d0e-9b5c-2f6f6f3f7a10").value();

struct EncodingRow {
  std::string_view name;
  WindowSelectionSnapshot snapshot;
  std::string_view text;
};

class Encoding : public testing::TestWithParam<EncodingRow> {};

TEST_P(Encoding, isExact) {
  EXPECT_EQ(encoded(GetParam().snapshot), GetParam().text);
  EXPECT_EQ(decodedWindowSelection(GetParam().text), GetParam().snapshot);
}

#define ID "5f2c7f1e-8a35-4d0e-9b5c-2f6f6f3f7a10"
INSTANTIATE_TEST_SUITE_P(
    Table, Encoding,
    testing::Values(
        EncodingRow{"nothing", {}, "{}"},
        EncodingRow{"github",
                    {GithubIntegrationId(kUuid), GithubPullRequestId(42)},
                    R"({"content":{"github":{"_0":")" ID R"("}},"detail":{"githubPull":{"_0":"42"}}})"},
        EncodingRow{"linear",
                    {LinearIntegrationId(kUuid), LinearIssueId(7)},
                    R"({"content":{"linear":{"_0":")" ID R"("}},"detail":{"linearIssue":{"_0":"7"}}})"},
        EncodingRow{"project",
                    {ProjectId(kUuid), NewConversation{ProjectId(kUuid)}},
                    R"({"content":{"project":{"_0":")" ID R"("}},"detail":{"newConversation":{"_0":")" ID R"("}}})"},
        EncodingRow{"pinned", {PinnedItemId(kUuid), {}}, R"({"content":{"pinned":{"_0":")" ID R"("}}})"},
        EncodingRow{"latest",
                    {LatestConversations(), ConversationId(kUuid)},
                    R"({"content":{"latestConversations":{}},"detail":{"conversation":{"_0":")" ID R"("}}})"},
        EncodingRow{"detailOnly", {{}, ConversationId(kUuid)}, R"({"detail":{"conversation":{"_0":")" ID R"("}}})"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(WindowSelectionSnapshot, isReadAsFarAsItIsKnown) {
  const WindowSelectionSnapshot latest(LatestConversations(), {});
  for (const char* text : {R"({"content":{"latestConversations":{}},"detail":{"board":{"_0":"1"}}})",
                           R"({"content":{"latestConversations":{}},"detail":{"conversation":{"_0":"x-coredata:1"}}})",
                           R"({"content":{"latestConversations":{}},"detail":{"linearIssue":{"_0":7.5}}})",
                           R"({"content":{"latestConversations":{"_0":"new"}},"detail":[],"more":1})",
                           R"({"content":{"latestConversations":{}},"detail":{"conversation":{},"board":{}}})"}) {
    EXPECT_EQ(decodedWindowSelection(text), latest) << text;
  }
  for (const char* text : {"", "null", "[]", "{}"}) {
    EXPECT_EQ(decodedWindowSelection(text), WindowSelectionSnapshot()) << text;
  }
  const WindowSelectionSnapshot beside{LatestConversations(), ConversationId(kUuid)};
  for (const char* content : {R"({"tiles":{"_0":1}})", "null"}) {
    const std::string text =
        std::string(R"({"content":)") + content + R"(,"detail":{"conversation":{"_0":")" ID R"("}}})";
    EXPECT_EQ(decodedWindowSelection(text), beside) << text;
  }
}

class WindowStateTest : public testing::Test, public WindowState::Face {
 protected:
  ~WindowStateTest() override {
    if (window) run(window->close(), loop);
  }

  void windowChanged() override { ++changes; }
  void perform(WindowCommand command) override { performed.emplace_back(description(command).name); }
  bool canPerform(WindowCommand command) const override { return !unable.contains(command); }

  void start(const std::string& name = "main") {
    if (window) run(window->close(), loop);
    window = std::make_shared<WindowState>(name, loop.get_executor(), *this);
    run(window->restoreLastSelection(store.container), loop);
  }
  ProjectId addProject(const std::string& path) { return run(store.projects->create(path, "project")).id; }
  ConversationId addConversation(ProjectId of) {
    return run(store.conversations->createConversation(of, std::nullopt)).value();
  }
  void execute(const char* sql) { store.container->connect().execute(sql); }
  void settle() { loop.restart(), loop.run(); }

  TemporaryFolder folder;
  OpenStore store{folder.path(), std::chrono::seconds(1)};
  asio::io_context loop;
  std::shared_ptr<WindowState> window;
  int changes = 0;
  std::vector<std::string> performed;
  std::set<WindowCommand> unable{WindowCommand::quit};
  ProjectId project = addProject("/home/user/one");
  ConversationId first = addConversation(project);
  ConversationId second = addConversation(project);
};

TEST_F(WindowStateTest, restoresEachWindowByItself) {
  start();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  window->openConversation(first, project);
  window->openConversation(second, project);
  window->goBackInHistory();
  start("other");
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  window->startNewConversation(project);
  start();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), first}));
  EXPECT_FALSE(window->canRun(WindowCommand::goBack));
  start("other");
  EXPECT_EQ(window->selection(), (Selection{project, NewConversation{project}}));
}

TEST_F(WindowStateTest, restoresWhatIsLeft) {
  const ProjectId other = addProject("/home/user/two");
  const ConversationId elsewhere = addConversation(other);
  start();
  window->setSelection(project, first);
  run(store.conversations->deleteConversation(first));
  start();
  EXPECT_EQ(window->selection(), (Selection{project, {}}));
  window->setSelection(project, elsewhere);
  run(store.projects->remove(project));
  start();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), elsewhere}));
  window->setSelection({}, elsewhere);
  start();
  EXPECT_EQ(window->selection(), (Selection{{}, elsewhere}));
  run(store.conversations->deleteConversation(elsewhere));
  start();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
}

TEST_F(WindowStateTest, startsWhateverIsStored) {
  for (const char* snapshot :
       {"{}", R"({"content":{"board":{"_0":"9"}},"detail":{"conversation":{"_0":"p12/3"}}})",
        R"({"content":{"pinned":{"_0":")" ID R"("}},"detail":{"githubPull":{"_0":"1"}}})", R"({"content":7})"}) {
    store.container->connect()
        .prepare("INSERT OR REPLACE INTO window_selection VALUES ('main', ?, 0)")
        .run(std::string_view(snapshot));
    window = nullptr;
    start();
    EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}})) << snapshot;
  }
  run(window->close(), loop);
  window = nullptr;
  start("main");
  window->openConversation(first, project);
  start("other");
  // What reads a conversation fails.
  execute("ALTER TABLE conversation RENAME TO elsewhere");
  execute("CREATE VIEW conversation AS SELECT * FROM elsewhere WHERE abs(-9223372036854775808) = id");
  start("main");
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  settle();
  execute("DROP VIEW conversation");
  execute("ALTER TABLE elsewhere RENAME TO conversation");
  start("main");
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), first})) << "what could not be read was kept";
  run(window->close(), loop);

  execute("DROP TABLE window_selection");
  window = nullptr;
  start("broken");
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  window->startNewConversation(project);
  settle();
  EXPECT_EQ(window->selection(), (Selection{project, NewConversation{project}}));
}

TEST_F(WindowStateTest, leavesAUserWhoWasFaster) {
  window = std::make_shared<WindowState>("main", loop.get_executor(), *this);
  window->openConversation(first, project);
  run(window->restoreLastSelection(store.container), loop);
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), first}));
  start();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), first}));
}

TEST_F(WindowStateTest, neverGoesBackToWhatWasArchived) {
  start();
  window->openConversation(first, project);
  window->openConversation(second, project);
  window->conversationWasArchived(second, first);
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), first}));
  // Before it stood `first` too: going back leads on.
  window->goBackInHistory();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  EXPECT_FALSE(window->canRun(WindowCommand::goBack));
  window->goForwardInHistory();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), first}));
  EXPECT_FALSE(window->canRun(WindowCommand::goForward));

  const Selection shown = window->selection();
  window->conversationWasArchived(second, second);
  EXPECT_EQ(window->selection(), shown);
  window->conversationWasArchived(first, {});
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
}

TEST_F(WindowStateTest, leavesARemovedProjectWithItsConversations) {
  const ProjectId other = addProject("/home/user/two");
  const ConversationId elsewhere = addConversation(other);
  start();
  window->setSelection(other, elsewhere);
  window->setSelection(LatestConversations(), first);
  window->setSelection(project, {});
  window->startNewConversation(project);
  window->setSelection(LatestConversations(), second);
  run(store.projects->remove(project));
  run(window->projectWasRemoved(project), loop);
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  window->goBackInHistory();
  EXPECT_EQ(window->selection(), (Selection{other, elsewhere}));
  window->goForwardInHistory();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
}

TEST_F(WindowStateTest, keepsTheListThatAnOpenedEntryBelongsTo) {
  const PinnedItemId pin(kUuid);
  const LinearIntegrationId linear(kUuid);
  const GithubIntegrationId github(kUuid);
  start();
  window->startNewConversation(project);
  window->openConversation(first, project);
  EXPECT_EQ(window->selection(), (Selection{project, first}));
  window->openConversation(second, ProjectId(kUuid));
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), second}));
  window->openLinearIssue(LinearIssueId(1), linear);
  EXPECT_EQ(window->selection(), (Selection{linear, LinearIssueId(1)}));
  window->openPinnedItem(pin);
  window->openGithubPull(GithubPullRequestId(2), github);
  EXPECT_EQ(window->selection(), (Selection{pin, GithubPullRequestId(2)}));
  window->openIntegration(github);
  EXPECT_EQ(window->selection(), (Selection{github, {}}));
}

TEST_F(WindowStateTest, runsItsCommandsAndLeavesTheRestToTheFace) {
  start();
  changes = 0;
  run(window->run(WindowCommand::goBack), loop);
  run(window->run(WindowCommand::find), loop);  // no conversation is shown
  run(window->run(WindowCommand::quit), loop);  // the face cannot
  unable.insert(WindowCommand::toggleGitChanges);
  run(window->run(WindowCommand::toggleGitChanges), loop);
  unable.erase(WindowCommand::toggleGitChanges);
  EXPECT_EQ(changes, 0);
  run(window->run(WindowCommand::toggleGitChanges), loop);
  EXPECT_EQ(window->title(WindowCommand::toggleGitChanges), "Hide Git Changes");
  window->openConversation(first, project);
  run(window->run(WindowCommand::find), loop);
  run(window->run(WindowCommand::focusInput), loop);
  run(window->run(WindowCommand::newConversation), loop);
  EXPECT_EQ(window->selection(), (Selection{project, NewConversation{project}}));
  run(window->run(WindowCommand::allConversations), loop);
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  run(window->run(WindowCommand::goBack), loop);
  EXPECT_EQ(window->selection(), (Selection{project, NewConversation{project}}));
  EXPECT_THAT(performed, ElementsAre("find", "focusInput", "allConversations"));

  // The selected project is gone, and the window has not heard of it.
  run(store.projects->remove(project));
  run(window->run(WindowCommand::newConversation), loop);
  EXPECT_EQ(performed.back(), "addNewProject");
}

TEST_F(WindowStateTest, leavesWhatTheStoreSaysIsRemoved) {
  start();
  window->openConversation(first, project);
  run(store.conversations->deleteConversation(first));
  window->take({.changes = {{first, ChangeOperation::updated, {}}}});
  settle();
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), first}));
  window->take({.changes = {{first, ChangeOperation::removed, {}}}});
  loop.restart();
  loop.run_one();
  window->openConversation(second, project);
  run(store.conversations->deleteConversation(second));
  settle();
  // It was selected while the store was asked, and was gone by then.
  EXPECT_EQ(window->selection(), (Selection{LatestConversations(), {}}));
  EXPECT_FALSE(window->canRun(WindowCommand::goBack));
}

TEST_F(WindowStateTest, doesNotWaitForAnotherWriter) {
  start();
  {
    sqlite::Database other = store.container->connect();
    const sqlite::Transaction writing(other);
    window->setSelection(LatestConversations(), first);
    // Its project is read behind the selection that cannot be stored: the loop is not left until both were tried.
    bool isBegun = false;
    asio::co_spawn(loop, window->run(WindowCommand::newConversation), [&](std::exception_ptr) { isBegun = true; });
    const auto before = std::chrono::steady_clock::now();
    loop.restart();
    while (!isBegun) loop.run_one();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_EQ(window->selection(), (Selection{project, NewConversation{project}}));
  }
  start();
  EXPECT_EQ(window->selection(), (Selection{project, NewConversation{project}}));
}

}  // namespace
}  // namespace ravant::test
