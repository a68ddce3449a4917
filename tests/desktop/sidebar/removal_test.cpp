#include <gmock/gmock.h>

#include "desktop/sidebar/conversation_actions.hpp"
#include "desktop/sidebar/conversation_list.hpp"
#include "desktop/sidebar/project_actions.hpp"
#include "desktop/sidebar/project_tree.hpp"
#include "tests/desktop/sidebar/shown_rows.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using desktop::ConversationActions;
using desktop::ConversationList;
using desktop::DesktopWindow;
using desktop::Notices;
using desktop::ProjectActions;
using desktop::ProjectTree;
using desktop::textOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SidebarRemovalTest : public testing::Test {
 protected:
  SidebarRemovalTest() {
    for (const ConversationId id : {keys, tiles}) {
      await(workbench.application().conversations().renameConversation(id, id == keys ? "Keys" : "Tiles"));
    }
  }

  std::vector<std::string> notices() {
    std::vector<std::string> told;
    const Notices& shown = *workbench.window().notices();
    for (int row = 0; row < shown.rowCount(); ++row) {
      told.push_back(shown.data(shown.index(row), Notices::textRole).toString().toStdString());
    }
    return told;
  }

  void undo() {
    Notices& shown = *workbench.window().notices();
    shown.accept(shown.data(shown.index(shown.rowCount() - 1), Notices::idRole).toInt());
  }

  std::size_t stored() { return await(workbench.application().conversations().conversations({})).size(); }

  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId keys = workbench.addConversation(project);
  const ConversationId tiles = workbench.addConversation(project);
  const std::vector<std::string> all = {"v weather", "  Tiles", "  Keys"};
};

TEST_F(SidebarRemovalTest, TakesAProjectFromTheStoreWhenItCanNoLongerBeUndone) {
  ProjectTree tree;
  ProjectActions actions;
  DesktopWindow& window = workbench.window();
  ASSERT_TRUE(comesToShow(tree, all));
  tree.open(1);

  actions.remove(textOf(project.id));
  EXPECT_THAT(lines(tree), IsEmpty());
  EXPECT_EQ(window.conversation(), QString()) << "what is removed is left";
  EXPECT_THAT(notices(), ElementsAre("weather was removed; its folder stays."));
  undo();
  EXPECT_EQ(lines(tree), all);
  EXPECT_EQ(window.conversation(), textOf(tiles));

  actions.remove(textOf(project.id));
  workbench.settle();
  EXPECT_EQ(stored(), 2U) << "until then a killed program has lost nothing";
  window.notices()->settleAll();
  EXPECT_TRUE(until([&] { return await(workbench.application().projects().projects()).empty(); }));
  workbench.settle();
  EXPECT_THAT(lines(tree), IsEmpty());
  EXPECT_TRUE(std::filesystem::is_directory(project.path));
}

TEST_F(SidebarRemovalTest, KeepsWhatAPromptRunsIn) {
  OpenStore other(workbench.folder() / "data");
  ProjectTree tree;
  ASSERT_TRUE(comesToShow(tree, all));
  tree.remove(2);
  tree.remove(0);
  EXPECT_THAT(lines(tree), IsEmpty());
  run(other.items->beginRun(keys));
  workbench.window().notices()->settleAll();
  ASSERT_TRUE(until([&] { return notices().size() == 2; }));
  EXPECT_THAT(notices(), testing::UnorderedElementsAre(HasSubstr("“Keys” was not deleted: a prompt is running"),
                                                       HasSubstr("weather was not removed: a prompt is running")));
  ASSERT_TRUE(comesToShow(tree, {"v weather", "  Keys, running", "  Tiles"}));
  tree.remove(0);
  EXPECT_EQ(lines(tree).size(), 3U) << "one that is seen to run is refused at once";
  run(other.items->endRun(keys, "", std::nullopt));
}

TEST_F(SidebarRemovalTest, ArchivesAtOnceAndShowsTheNextOne) {
  ProjectTree tree;
  ConversationList archived;
  ConversationActions actions;
  DesktopWindow& window = workbench.window();
  archived.setArchived(true);
  EXPECT_EQ(archived.title(), QStringLiteral("Archived conversations"));
  ASSERT_TRUE(comesToShow(tree, all));
  tree.open(1);
  const auto comesToShowIt = [&](ConversationId wanted) {
    return until([&] { return window.conversation() == textOf(wanted); });
  };
  actions.archive(textOf(tiles));
  EXPECT_TRUE(comesToShowIt(keys));
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Keys"}));
  EXPECT_TRUE(comesToShow(archived, {"  Tiles | weather"}));
  actions.archive(textOf(keys));
  EXPECT_TRUE(until([&] { return window.newConversationProject() == textOf(project.id); })) << "there is no other one";
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  No conversation yet in weather"}));
  undo();
  EXPECT_EQ(window.conversation(), textOf(keys));
  undo();
  EXPECT_EQ(window.conversation(), textOf(tiles));
  EXPECT_TRUE(comesToShow(tree, all));
  EXPECT_THAT(lines(archived), IsEmpty());

  actions.archive(textOf(tiles));
  ASSERT_TRUE(comesToShowIt(keys));
  tree.open(0);
  undo();
  EXPECT_EQ(window.conversation(), textOf(keys)) << "who went elsewhere is left there";
}

TEST_F(SidebarRemovalTest, GoesBackNeitherToWhatWasArchivedNorToWhatWasNeverShown) {
  ProjectTree tree;
  ConversationActions actions;
  DesktopWindow& window = workbench.window();
  ASSERT_TRUE(comesToShow(tree, all));
  tree.open(1);
  tree.open(2);
  actions.archive(textOf(tiles));
  ASSERT_TRUE(until([&] { return notices().size() == 1; }));
  window.showProject(textOf(project.id));
  actions.archive(textOf(keys));
  ASSERT_TRUE(until([&] { return window.newConversationProject() == textOf(project.id); }));
  window.runCommand(WindowCommand::goBack);
  workbench.settle();
  EXPECT_EQ(window.contentKind(), DesktopWindow::ContentKind::Latest);
  EXPECT_EQ(window.detailKind(), DesktopWindow::DetailKind::None) << "as the window began";
}

TEST_F(SidebarRemovalTest, LeadsToNothingThatIsAboutToGo) {
  const Project other = workbench.addProject("other");
  ProjectTree tree;
  ConversationActions conversations;
  ProjectActions projects;
  DesktopWindow& window = workbench.window();
  ASSERT_TRUE(comesToShow(tree, {"v weather", "  Tiles", "  Keys", "v other", "  No conversation yet in other"}));
  EXPECT_EQ(tree.remove(2), 1) << "not into the next project";
  window.openConversation(textOf(tiles), textOf(project.id));
  conversations.archive(textOf(tiles));
  ASSERT_TRUE(until([&] { return window.newConversationProject() == textOf(project.id); }));
  EXPECT_EQ(notices().size(), 2U) << "that one was deleted can still be undone";

  projects.remove(textOf(project.id));
  window.runCommand(WindowCommand::newConversation);
  workbench.settle();
  EXPECT_EQ(window.newConversationProject(), QString());
  EXPECT_EQ(notices().size(), 3U);
}

TEST_F(SidebarRemovalTest, KeepsWhatIsOpenedBeforeItIsGone) {
  ProjectTree tree;
  ConversationActions conversations;
  ProjectActions projects;
  DesktopWindow& window = workbench.window();
  ASSERT_TRUE(comesToShow(tree, all));
  conversations.remove(textOf(tiles));
  window.openConversation(textOf(keys), textOf(project.id));
  EXPECT_EQ(notices().size(), 1U);
  window.openConversation(textOf(tiles), textOf(project.id));
  EXPECT_THAT(notices(), IsEmpty());
  EXPECT_EQ(lines(tree), all);

  projects.remove(textOf(project.id));
  window.openConversation(textOf(keys), textOf(project.id));
  EXPECT_THAT(notices(), IsEmpty());
  projects.remove(textOf(project.id));
  window.startNewConversation(textOf(project.id));
  EXPECT_THAT(notices(), IsEmpty());
  const std::filesystem::path other = workbench.folder() / "other";
  std::filesystem::create_directory(other);
  projects.remove(textOf(project.id));
  window.addProjectFolders({QUrl::fromLocalFile(QString::fromStdString(project.path)),
                            QUrl::fromLocalFile(QString::fromStdString(other.string()))});
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Tiles", "  Keys", "v other", "  No conversation yet in other"}));
  EXPECT_THAT(notices(), IsEmpty());
  window.notices()->settleAll();
  workbench.settle();
  EXPECT_EQ(stored(), 2U);
}

TEST_F(SidebarRemovalTest, DeletesAtTheEndOfTheProgramWhatWasNotUndone) {
  {
    ConversationActions actions;
    ProjectTree tree;
    ASSERT_TRUE(comesToShow(tree, all));
    actions.remove(textOf(tiles));
    EXPECT_EQ(lines(tree), (std::vector<std::string>{"v weather", "  Keys"}));
  }
  await(workbench.window().close());
  EXPECT_TRUE(until([&] { return stored() == 1; }));
}

}  // namespace
}  // namespace ravant::test
