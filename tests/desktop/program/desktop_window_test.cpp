#include "desktop/program/desktop_window.hpp"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QKeySequence>
#include <QQuickItem>
#include <QQuickWindow>

#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::CommandHandler;
using desktop::DesktopWindow;
using desktop::Notices;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(DesktopWindowTest, ShowsWhatItShowedBeforeItsEnd) {
  TemporaryFolder folder;
  Workbench first;
  const Project project = first.addProject("weather");
  const ConversationId conversation = first.addConversation(project);
  first.window().openConversation(desktop::textOf(conversation), desktop::textOf(project.id));

  EXPECT_EQ(first.window().detailKind(), DesktopWindow::DetailKind::Conversation);
  EXPECT_EQ(first.window().conversation(), desktop::textOf(conversation));
  EXPECT_TRUE(first.window().canRun(QStringLiteral("archive"), 0) == false) << "nobody does it";
}

TEST(DesktopWindowTest, TakesTheOtherKeyThatMeansTheSameUnlessItMeansSomethingElse) {
  Workbench workbench;
  workbench.folder().write(
      "settings.json",
      R"({"keybindings":{"find":"Alt+Enter","rename":"Ctrl+K Enter","goForward":"Alt++","copyMessage":"Alt+="}})");
  workbench.application().settings().load();
  DesktopWindow& window = workbench.window();
  window.loadKeybindings();
  const auto presses = [&](const char* command, QKeyCombination first,
                           QKeyCombination then = QKeyCombination::fromCombined(0)) {
    const QKeySequence pressed(first, then);
    const QVariantList sequences = window.sequences(QString::fromUtf8(command), 0);
    return std::count_if(sequences.begin(), sequences.end(),
                         [&](const QVariant& keys) { return QKeySequence(keys.toString()) == pressed; });
  };
  EXPECT_EQ(presses("find", Qt::ALT | Qt::Key_Return), 1);
  EXPECT_EQ(presses("find", Qt::ALT | Qt::Key_Enter), 1);
  EXPECT_EQ(presses("rename", Qt::CTRL | Qt::Key_K, QKeyCombination(Qt::Key_Return)), 1);
  EXPECT_EQ(presses("zoomIn", Qt::CTRL | Qt::Key_Plus), 1);
  EXPECT_EQ(presses("zoomIn", Qt::CTRL | Qt::Key_Equal), 1) << "where + is over =, nobody presses Shift";
  EXPECT_EQ(presses("goForward", Qt::ALT | Qt::Key_Plus), 1);
  EXPECT_EQ(presses("goForward", Qt::ALT | Qt::Key_Equal), 0);
  EXPECT_EQ(window.sequences(QStringLiteral("goBack"), 0).size(), 1);
}

TEST(DesktopWindowTest, RunsACommandByTheYoungestHandlerThatIsEnabled) {
  Workbench workbench;
  DesktopWindow& window = workbench.window();
  const QString command = QStringLiteral("focusInput");
  EXPECT_FALSE(window.canRun(command, 0));

  std::vector<int> triggered;
  const auto makeHandler = [&](int number) {
    auto handler = std::make_unique<CommandHandler>();
    handler->setProperty("command", command);
    QObject::connect(handler.get(), &CommandHandler::triggered, [&triggered, number] { triggered.push_back(number); });
    return handler;
  };
  const auto older = makeHandler(1);
  auto younger = makeHandler(2);
  auto runIt = [&, expected = std::size_t{0}]() mutable {
    ++expected;
    window.run(command);
    return until([&] { return triggered.size() == expected; });
  };

  EXPECT_TRUE(runIt());
  younger->setProperty("enabled", false);
  EXPECT_TRUE(runIt());
  younger->setProperty("enabled", true);
  younger.reset();
  EXPECT_TRUE(runIt());
  EXPECT_THAT(triggered, ElementsAre(2, 1, 1));
}

TEST(DesktopWindowTest, RunsACommandByThePartThatHasTheKeyboard) {
  Workbench workbench;
  QQuickWindow shown;
  QQuickItem list(shown.contentItem());
  QQuickItem page(shown.contentItem());
  std::string done;
  const auto addHandler = [&](QQuickItem& part, const char* name) {
    auto* const handler = new CommandHandler(&part);
    handler->setProperty("command", QStringLiteral("rename"));
    QObject::connect(handler, &CommandHandler::triggered, [&done, name] { done += name; });
  };
  addHandler(list, "list ");
  addHandler(page, "page ");

  workbench.window().run(QStringLiteral("rename"));
  EXPECT_TRUE(until([&] { return done == "page "; })) << done;
  list.forceActiveFocus();
  workbench.window().run(QStringLiteral("rename"));
  EXPECT_TRUE(until([&] { return done == "page list "; })) << done;
}

TEST(DesktopWindowTest, LeavesAConversationThatAnotherWriterRemoves) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId conversation = workbench.addConversation(project);
  workbench.window().openConversation(desktop::textOf(conversation), desktop::textOf(project.id));

  await(workbench.application().conversations().deleteConversation(conversation));

  EXPECT_TRUE(until([&] { return workbench.window().conversation().isEmpty(); }));
}

struct WindowAndFoldersTest : testing::Test {
  static QUrl url(const std::filesystem::path& path) {
    return QUrl::fromLocalFile(QString::fromStdString(path.string()));
  }

  std::vector<std::string> told() {
    std::vector<std::string> words;
    const Notices& shown = *window.notices();
    for (int row = 0; row < shown.rowCount(); ++row) {
      words.push_back(shown.data(shown.index(row), Notices::textRole).toString().toStdString());
    }
    return words;
  }

  Workbench workbench;
  DesktopWindow& window = workbench.window();
  const Project project = workbench.addProject("weather");
  const std::filesystem::path home = workbench.folder().path();
  const std::filesystem::path file = workbench.folder().write("notes.txt", "x");
};

TEST_F(WindowAndFoldersTest, MakesProjectsOfFoldersAndTellsWhyOthersAreNone) {
  const std::filesystem::path fresh = home / "fresh";
  std::filesystem::create_directory(fresh);
  window.addProjectFolders({url(file), url("/"), url(home), url(home / "nowhere"),
                            QUrl(QStringLiteral("https://example.org/x")), url(fresh)});
  ASSERT_TRUE(until([&] { return !window.newConversationProject().isEmpty(); }));
  EXPECT_THAT(told(), ElementsAre(HasSubstr("notes.txt is not a folder"), HasSubstr("root of the file system"),
                                  HasSubstr("it is your home folder"), HasSubstr("No such file"),
                                  HasSubstr("not a folder of this machine")));
  const auto projects = await(workbench.application().projects().projects());
  ASSERT_EQ(projects.size(), 2U);
  EXPECT_EQ(projects.back().path, std::filesystem::canonical(fresh).string());
  EXPECT_EQ(window.newConversationProject(), desktop::textOf(projects.back().id));

  window.addProjectFolders({url(project.path)});
  EXPECT_TRUE(until([&] { return window.newConversationProject() == desktop::textOf(project.id); })) << "it is known";
}

TEST_F(WindowAndFoldersTest, RefusesTheHomeFolderOfAStartToo) {
  window.open({.project = home});
  EXPECT_TRUE(until([&] { return !told().empty(); }));
  EXPECT_THAT(told(), ElementsAre(HasSubstr("it is your home folder")));
  EXPECT_EQ(await(workbench.application().projects().projects()).size(), 1U);
}

TEST_F(WindowAndFoldersTest, GivesDroppedFilesToThePromptThatIsWritten) {
  QList<QUrl> taken;
  QObject::connect(&window, &DesktopWindow::filesDropped, [&](const QList<QUrl>& files) { taken += files; });
  window.takeDropped({url(file)});
  EXPECT_TRUE(until([&] { return !told().empty(); }));
  EXPECT_THAT(taken, testing::IsEmpty());

  window.startNewConversation(desktop::textOf(workbench.addProject("tiles").id));
  window.takeDropped({url(file), url(project.path)});
  EXPECT_TRUE(until([&] { return window.newConversationProject() == desktop::textOf(project.id); }));
  EXPECT_THAT(taken, ElementsAre(url(file)));
}

TEST(NoticesTest, AreHeldByNoneThatIsGone) {
  Notices notices;
  notices.tell(QStringLiteral("Moved"));
  notices.setHeld(true);
  notices.dismiss(notices.index(0).data(Notices::idRole).toInt());
  EXPECT_FALSE(notices.isHeld());
}

TEST(NoticesTest, SaysTheSameOnceUnlessThereIsAWayBack) {
  Notices notices;
  QAbstractItemModelTester tester(&notices, QAbstractItemModelTester::FailureReportingMode::Warning);
  int undone = 0;
  for (int time = 0; time < 2; ++time) {
    notices.tell(QStringLiteral("Nothing needs you."));
    notices.tell(QStringLiteral("Archived"), [&] { ++undone; });
    notices.tellError(QStringLiteral("No room"));
  }
  ASSERT_EQ(notices.rowCount(), 4);
  EXPECT_TRUE(notices.undoLatest());
  EXPECT_TRUE(notices.undoLatest());
  EXPECT_EQ(undone, 2) << "each archive can be undone";
  EXPECT_FALSE(notices.undoLatest());
}

TEST(NoticesTest, OfferAWayOnThatIsNoWayBack) {
  Notices notices;
  QAbstractItemModelTester tester(&notices, QAbstractItemModelTester::FailureReportingMode::Warning);
  int copied = 0;
  notices.tellError(QStringLiteral("No program opens it"), {QStringLiteral("Copy path"), [&] { ++copied; }});
  const QModelIndex shown = notices.index(0);
  EXPECT_EQ(shown.data(Notices::offerRole).toString(), QStringLiteral("Copy path"));
  EXPECT_FALSE(notices.undoLatest());
  EXPECT_EQ(copied, 0);
  notices.accept(shown.data(Notices::idRole).toInt());
  EXPECT_EQ(copied, 1);
  EXPECT_EQ(notices.rowCount(), 0);
}

TEST(NoticesTest, AreLeftOneByOneWhereTheyTellOfFailures) {
  Notices notices;
  notices.tellError(QStringLiteral("No room"));
  notices.tell(QStringLiteral("Archived"));
  notices.tellError(QStringLiteral("No network"));
  const auto first = [&] { return notices.index(0).data(Notices::textRole).toString(); };
  EXPECT_TRUE(notices.dismissError());
  EXPECT_EQ(first(), QStringLiteral("No room.")) << "the latest goes first";
  EXPECT_TRUE(notices.dismissError());
  EXPECT_EQ(first(), QStringLiteral("Archived.")) << "what goes by itself stays its time";
  EXPECT_FALSE(notices.dismissError());
}

}  // namespace
}  // namespace ravant::test
