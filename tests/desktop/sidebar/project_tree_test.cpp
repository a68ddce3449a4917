#include "desktop/sidebar/project_tree.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <ranges>

#include "desktop/sidebar/conversation_list.hpp"
#include "desktop/sidebar/project_actions.hpp"
#include "desktop/sidebar/recent_conversations.hpp"
#include "tests/desktop/sidebar/shown_rows.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using desktop::ConversationList;
using desktop::DesktopWindow;
using desktop::ProjectActions;
using desktop::ProjectTree;
using desktop::RecentConversations;
using desktop::SidebarRows;
using desktop::textOf;

/// The store as another process has it open.
class ProjectTreeTest : public testing::Test {
 protected:
  ProjectTreeTest() : other(workbench.folder() / "data", std::chrono::milliseconds(1)) {}

  ConversationId converse(const Project& project, const std::string& title) {
    const auto agents = run(other.agents->agents());
    const ConversationId id = run(other.conversations->createConversation(project.id, agents.front().id)).value();
    run(other.conversations->renameConversation(id, title));
    return id;
  }

  void say(ConversationId id) { run(other.items->appendAgentMessage(id, "{}", "done", std::nullopt, std::nullopt)); }

  void prompt(ConversationId id) {
    run(other.items->beginRun(id));
    run(other.items->appendUserPrompt(id, "go", AgentType::ravant, {}));
  }

  Workbench workbench;
  OpenStore other;
};

TEST_F(ProjectTreeTest, ShowsTheStatesOfConversationsThatAnotherProcessWrites) {
  const Project project = workbench.addProject("weather");
  ProjectTree tree;
  const AnnouncedRows announced(tree);
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  No conversation yet in weather"}));

  const ConversationId tiles = converse(project, "Tiles");
  const ConversationId keys = converse(project, "Keys");
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Keys", "  Tiles"}));
  EXPECT_EQ(tree.running(), QString());

  prompt(tiles);
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Tiles, running", "  Keys"}));
  EXPECT_EQ(tree.running(), QStringLiteral("1 running"));
  run(other.items->appendFailureEvent(tiles, "{}", "out of paper"));
  run(other.items->endRun(tiles, "", PromptOutcome::failed));
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Tiles, failed", "  Keys"}));
  say(keys);
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Keys, unread | 1 new", "  Tiles, failed"}));
  say(keys);
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Keys, unread | 2 new", "  Tiles, failed"}));

  tree.setOpen(0, false);
  EXPECT_TRUE(comesToShow(tree, {"> weather, failed"}));
  run(other.conversations->archiveConversation(tiles));
  EXPECT_TRUE(comesToShow(tree, {"> weather, unread"}));
  EXPECT_EQ(tree.data(tree.index(0), ProjectTree::asideRole).toString(), QStringLiteral("1 unread"));
  run(other.conversations->deleteConversation(keys));
  EXPECT_TRUE(comesToShow(tree, {"> weather"}));
  run(other.conversations->unarchiveConversation(tiles));
  EXPECT_TRUE(comesToShow(tree, {"> weather, failed"}));
  run(other.projects->remove(project.id));
  EXPECT_TRUE(comesToShow(tree, {}));
  EXPECT_THAT(announced.lines(), testing::IsEmpty());
}

TEST_F(ProjectTreeTest, KeepsThePlacesOfThoseThatRunSideBySide) {
  const Project project = workbench.addProject("weather");
  ProjectTree tree;
  const ConversationId tiles = converse(project, "Tiles");
  const ConversationId keys = converse(project, "Keys");
  prompt(tiles);
  prompt(keys);
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Keys, running", "  Tiles, running"}));
  say(tiles);
  const ConversationId fonts = converse(project, "Fonts");
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Keys, running", "  Tiles, running", "  Fonts"}));
  run(other.items->endRun(keys, "", PromptOutcome::finished));
  say(fonts);
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Tiles, running", "  Fonts, unread | 1 new", "  Keys"}));
}

TEST_F(ProjectTreeTest, NoticesThatAProcessWasKilledUnderItsRun) {
  const Project project = workbench.addProject("weather");
  ProjectTree tree;
  int told = 0;
  QObject::connect(&workbench.program().changes(), &desktop::StoreChanges::conversationChanged, [&] { ++told; });
  {
    OpenStore killed(workbench.folder() / "data");
    const auto agents = run(killed.agents->agents());
    const auto id = run(killed.conversations->createConversation(project.id, agents.front().id)).value();
    run(killed.items->beginRun(id));
    run(killed.conversations->renameConversation(id, "Tiles"));
    EXPECT_TRUE(comesToShow(tree, {"v weather", "  Tiles, running"}));
  }
  workbench.settle();
  told = 0;
  tree.setShown(true);
  EXPECT_TRUE(comesToShow(tree, {"v weather", "  Tiles, interrupted"}));
  EXPECT_EQ(told, 1) << "so is whoever else shows it";
}

TEST_F(ProjectTreeTest, ShowsTheNewestEightAndTheRestOnDemand) {
  const Project project = workbench.addProject("weather");
  for (const char* title : {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10"}) converse(project, title);
  ProjectTree tree;
  const AnnouncedRows announced(tree);
  std::vector<std::string> newest = {"v weather", "  10", "  9", "  8", "  7", "  6", "  5", "  4", "  3"};
  std::vector<std::string> all = newest;
  newest.emplace_back("  Show all 10 of weather");
  ASSERT_TRUE(comesToShow(tree, newest));

  tree.open(9);
  all.insert(all.end(), {"  2", "  1", "  Show fewer of weather"});
  EXPECT_EQ(announced.lines(), all);
  tree.open(11);
  EXPECT_EQ(announced.lines(), newest);

  EXPECT_EQ(tree.rowByKey(3, Qt::Key_Left), 0);
  EXPECT_EQ(tree.rowByKey(0, Qt::Key_Right), 1);
  EXPECT_EQ(tree.rowByKey(0, Qt::Key_Left), 0);
  EXPECT_EQ(announced.lines(), std::vector<std::string>{"> weather"});
  const ConversationId oldest = run(other.conversations->conversations({})).back().conversation.id;
  EXPECT_EQ(tree.reveal(textOf(oldest)), 10) << "in what was hidden twice";
  EXPECT_TRUE(until([&] { return run(other.projects->projects()).front().expandedInSidebar; })) << "folds are stored";
}

TEST_F(ProjectTreeTest, GoesFromConversationToConversation) {
  const Project first = workbench.addProject("dotfiles");
  const Project second = workbench.addProject("weather");
  const ConversationId tiles = converse(first, "Tiles");
  const ConversationId keys = converse(second, "Keys");
  ProjectTree tree;
  ASSERT_TRUE(comesToShow(tree, {"v dotfiles", "  Tiles", "v weather", "  Keys"}));

  DesktopWindow& window = workbench.window();
  window.showLatest();
  ASSERT_TRUE(until([&] { return window.contentKind() == DesktopWindow::ContentKind::Latest; }));
  tree.openNeighbour(1);
  EXPECT_EQ(window.conversation(), textOf(tiles));
  EXPECT_EQ(window.contentKind(), DesktopWindow::ContentKind::None) << "the tree is the list";
  tree.openNeighbour(1);
  EXPECT_EQ(window.conversation(), textOf(keys));
  tree.openNeighbour(1);
  EXPECT_EQ(window.conversation(), textOf(keys)) << "there is none below";
  tree.openNeighbour(-1);
  EXPECT_EQ(window.conversation(), textOf(tiles));

  RecentConversations recent;
  EXPECT_EQ(lines(recent), (std::vector<std::string>{"  Tiles | dotfiles", "  Keys | weather"}));
  recent.open(1);
  EXPECT_EQ(lines(recent), (std::vector<std::string>{"  Keys | weather", "  Tiles | dotfiles"}));
}

TEST_F(ProjectTreeTest, MovesProjectsAsFarAsTheEnds) {
  const QString tides = textOf(workbench.addProject("tides").id);
  const QString weather = textOf(workbench.addProject("weather").id);
  ProjectTree tree;
  ProjectActions actions;
  const std::string none = "  No conversation yet in ";
  ASSERT_TRUE(comesToShow(tree, {"v tides", none + "tides", "v weather", none + "weather"}));
  EXPECT_FALSE(actions.canMove(tides, -1));
  EXPECT_FALSE(actions.canMove(weather, 1));
  ASSERT_TRUE(actions.canMove(weather, -1));
  actions.move(weather, -1);
  ASSERT_TRUE(comesToShow(tree, {"v weather", none + "weather", "v tides", none + "tides"}));
  EXPECT_FALSE(actions.canMove(weather, -1));
  EXPECT_TRUE(actions.canMove(weather, 1));
  tree.moveProject(weather, tree.dropRow(4));
  EXPECT_TRUE(comesToShow(tree, {"v tides", none + "tides", "v weather", none + "weather"}));
}

TEST_F(ProjectTreeTest, ReadsTheBranchAgainWhenARunEndsAndWhenTheWindowIsLookedAt) {
  const Project project = workbench.addProject("weather");
  const std::filesystem::path folder = project.path;
  std::filesystem::create_directories(folder / ".git" / "refs");
  std::filesystem::create_directories(folder / ".git" / "objects");
  const auto checkOut = [&](const char* branch) {
    std::ofstream(folder / ".git" / "HEAD") << "ref: refs/heads/" << branch << "\n";
  };
  checkOut("main");
  const ConversationId tiles = converse(project, "Tiles");
  ProjectTree tree;
  EXPECT_TRUE(comesToShow(tree, {"v weather | main", "  Tiles"}));

  prompt(tiles);
  EXPECT_TRUE(comesToShow(tree, {"v weather | main", "  Tiles, running"}));
  checkOut("forecast");
  run(other.items->endRun(tiles, "", PromptOutcome::finished));
  EXPECT_TRUE(comesToShow(tree, {"v weather | forecast", "  Tiles"}));
  checkOut("main");
  workbench.window().setActive(true);
  EXPECT_TRUE(comesToShow(tree, {"v weather | main", "  Tiles"}));
}

TEST_F(ProjectTreeTest, TellsTheAgeOfTodayAndTheHourOfTheDaysBefore) {
  const Project project = workbench.addProject("weather");
  const Timestamp now = workbench.application().modelContainer()->clock().now();
  other.clock->set(now - std::chrono::days(3));
  say(converse(project, "Tiles"));
  other.clock->set(now);
  say(converse(project, "Keys"));
  ProjectTree tree;
  const ConversationList list;
  ASSERT_TRUE(until([&] { return list.rowCount() == 2; }));
  const auto aside = [](const SidebarRows& rows, int row) {
    return rows.data(rows.index(row), SidebarRows::asideRole).toString().toStdString();
  };
  EXPECT_EQ(aside(list, 0), "now");
  EXPECT_THAT(aside(list, 1), testing::MatchesRegex("[0-9]+:[0-9][0-9]( [AP]M)?")) << "its heading has the day";
  EXPECT_THAT(aside(tree, 2), testing::Not(testing::HasSubstr(":"))) << "there is none";
}

std::string newIn(const ConversationSummary& summary) {
  return stateOf(summary) == ConversationState::unread ? fmt::format(" | {} new", summary.unread) : "";
}

/// Those that run first.
std::vector<ConversationSummary> conversationsIn(OpenStore& store, std::optional<ProjectId> project) {
  auto conversations = run(store.conversations->conversations({.project = project}));
  std::ranges::sort(conversations, std::greater(), [](const ConversationSummary& each) {
    const Conversation& listed = each.conversation;
    return std::tuple(each.run.has_value(), each.run ? listed.lastPromptAt : listed.lastActivityAt, listed.id);
  });
  return conversations;
}

/// What a tree with nothing hidden and nothing shown on demand has to show, read from the store alone.
std::vector<std::string> treeIn(OpenStore& store) {
  std::vector<std::string> rows;
  for (const Project& project : run(store.projects->projects())) {
    const auto conversations = conversationsIn(store, project.id);
    auto state = ConversationState::quiet;
    for (const auto& summary : conversations) state = std::min(state, stateOf(summary));
    const auto named = [](const std::string& name, ConversationState shown) {
      return shown == ConversationState::quiet ? name : fmt::format("{}, {}", name, rawValue(shown));
    };
    if (!project.expandedInSidebar) {
      rows.push_back("> " + named(project.name, state));
      continue;
    }
    rows.push_back("v " + project.name);
    for (const auto& summary : conversations | std::views::take(8)) {
      rows.push_back("  " + named(displayTitle(summary), stateOf(summary)) + newIn(summary));
    }
    if (conversations.empty()) rows.push_back("  No conversation yet in " + project.name);
    if (conversations.size() > 8)
      rows.push_back(fmt::format("  Show all {} of {}", conversations.size(), project.name));
  }
  return rows;
}

std::vector<std::string> listIn(OpenStore& store) {
  std::vector<std::string> rows;
  for (const auto& summary : conversationsIn(store, std::nullopt)) {
    const ConversationState state = stateOf(summary);
    rows.push_back(fmt::format("  {}{}{}{} | {}", displayTitle(summary), state == ConversationState::quiet ? "" : ", ",
                               state == ConversationState::quiet ? "" : rawValue(state), newIn(summary),
                               summary.projectName));
  }
  return rows;
}

TEST_F(ProjectTreeTest, ShowsAfterAnySequenceOfWritesWhatAFreshReadingShows) {
  constexpr int kSteps = 160;
  std::mt19937 random(20'261'122);
  const auto below = [&](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  workbench.addProject("first");
  ProjectTree tree;
  ConversationList list;
  const AnnouncedRows announcedTree(tree);
  const AnnouncedRows announcedList(list);
  std::set<ConversationId> running;

  for (int step = 0; step < kSteps; ++step) {
    const auto projects = run(other.projects->projects());
    const auto conversations = run(other.conversations->conversations({.archived = ArchivedConversations::included}));
    const std::string name = fmt::format("number {}", step);
    const std::size_t kind = below(12);
    if (projects.empty() || (kind == 0 && projects.size() < 6)) {
      run(other.projects->create("/nowhere/" + name, name));
    } else if (conversations.empty() || kind <= 3) {
      converse(projects[below(projects.size())], name);
    } else if (kind == 4) {
      std::vector<ProjectId> order;
      for (const Project& project : projects) order.push_back(project.id);
      std::ranges::shuffle(order, random);
      run(other.projects->reorder(order));
    } else if (kind == 5) {
      tree.setOpen(tree.rowOfProject(textOf(projects[below(projects.size())].id)), below(3) != 0);
      workbench.settle();
    } else {
      const ConversationId id = conversations[below(conversations.size())].conversation.id;
      if (kind == 6) run(other.conversations->renameConversation(id, name));
      if (kind == 7) run(other.conversations->archiveConversation(id));
      if (kind == 8) run(other.conversations->unarchiveConversation(id));
      if (kind == 9) say(id);
      if (kind == 10 && running.insert(id).second) prompt(id);
      if (kind == 11 && running.erase(id) > 0) run(other.items->endRun(id, "", PromptOutcome::finished));
      if (kind == 11 && !running.contains(id) && below(2) == 0) run(other.conversations->deleteConversation(id));
      if (kind == 11 && running.empty() && below(4) == 0) run(other.projects->remove(projects.front().id));
    }
    if (below(3) == 0) continue;  // several writes are one batch
    if (!until([&] { return lines(tree) == treeIn(other) && lines(list) == listIn(other); })) {
      EXPECT_THAT(lines(tree), testing::ElementsAreArray(treeIn(other)));
      EXPECT_THAT(lines(list), testing::ElementsAreArray(listIn(other)));
      FAIL() << "step " << step << ", kind " << kind;
    }
    ASSERT_EQ(announcedTree.lines(), lines(tree)) << "step " << step;
    ASSERT_EQ(announcedList.lines(), lines(list)) << "step " << step;
  }
}

}  // namespace
}  // namespace ravant::test
