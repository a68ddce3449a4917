#include "desktop/program/desktop_window.hpp"

#include <gmock/gmock.h>

#include <QQuickItem>
#include <QQuickWindow>

#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::CommandHandler;
using desktop::DesktopWindow;
using testing::ElementsAre;

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

}  // namespace
}  // namespace ravant::test
