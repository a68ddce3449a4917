#include <fmt/format.h>
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>

#include "desktop/conversation/conversation_head.hpp"
#include "tests/desktop/conversation/transcript_window_test.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;
using testing::ElementsAre;

TEST_F(TranscriptWindowTest, ShowsEachBlockAndEachCallAsARow) {
  prompt("Why is it slow?");
  message("Because of this:\n\n```cpp\nint a;\n```\n\n| a | b |\n|---|--:|\n| x | 1 |");
  call("one", "make");
  complete("one", "first\nsecond");
  see();
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  EXPECT_THAT(kindsOf(window),
              ElementsAre(RowKind::userMessage, RowKind::prose, RowKind::code, RowKind::table, RowKind::toolGroup));
  EXPECT_EQ(window.rows()[0].name, QStringLiteral("You: Why is it slow?"));
  EXPECT_EQ(window.rows()[1].name, QStringLiteral("Claude Code: Because of this:"));
  EXPECT_EQ(window.rows()[2].name, QStringLiteral("Code, C++: int a;"));
  EXPECT_THAT(window.rows()[4].name.toStdString(), testing::StartsWith("Tool calls: "));

  window.setOpen(4, true);
  ASSERT_EQ(window.rowCount(), 6);
  window.setOpen(5, true);
  settle(window);
  ASSERT_EQ(window.rowCount(), 8) << "input and output";
  EXPECT_EQ(window.rows()[7].text, QStringLiteral("first\nsecond"));
  EXPECT_EQ(window.nextStop(0, 1), 1);
  EXPECT_EQ(window.nextStop(1, 1), 4) << "a message is one stop";
  EXPECT_EQ(window.nextStop(4, 1), 5) << "a call is one, what is in it is not";
  EXPECT_EQ(window.nextStop(5, 1), 5);
  window.setOpen(4, false);
  EXPECT_EQ(window.rowCount(), 5);
}

TEST_F(TranscriptWindowTest, TriesAgainWhatFailedAndNotWhatWasDoneBefore) {
  desktop::ConversationHead head;
  head.setConversation(desktop::textOf(conversation_));
  QStringList sent;
  QObject::connect(&workbench_.window(), &desktop::DesktopWindow::promptRequested,
                   [&](ConversationId, const QString& words) { sent << words; });
  QObject::connect(&workbench_.window(), &desktop::DesktopWindow::queuedPromptRequested,
                   [&] { sent << QStringLiteral("what waits"); });
  const auto lastItem = [&] { return await(workbench_.application().transcripts().last(conversation_))->id; };
  const auto tryAgain = [&] {
    const auto before = sent.size();
    head.tryAgain(desktop::textOf(lastItem()));
    EXPECT_TRUE(until([&] { return sent.size() > before; }));
  };
  await(writer_->beginRun(conversation_));
  prompt("Go.");
  await(writer_->appendFailureEvent(conversation_, "{}", "The connection was closed."));
  await(writer_->endRun(conversation_, "", PromptOutcome::failed));
  tryAgain();
  await(writer_->beginRun(conversation_));
  prompt("Go again.");
  await(writer_->endRun(conversation_, "", PromptOutcome::finished));
  await(writer_->appendFailureEventBehind(lastItem(), conversation_, "A queued prompt was not sent: no model"));
  tryAgain();
  EXPECT_THAT(sent, ElementsAre(QStringLiteral("Go."), QStringLiteral("what waits")));
}

TEST_F(TranscriptWindowTest, LeadsOnOnlyAtTheEnd) {
  prompt("Go.");
  await(writer_->appendFailureEvent(conversation_, "{}", "The connection was closed."));
  see();
  TranscriptWindow window;
  open(window);
  ASSERT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::failure));
  EXPECT_TRUE(window.rows()[1].canAct);
  EXPECT_EQ(window.rows()[1].name, QStringLiteral("Failed: The connection was closed."));
  QStringList led;
  QObject::connect(&window, &TranscriptWindow::anotherTryRequested, [&](const QString& failure) { led << failure; });
  QObject::connect(&window, &TranscriptWindow::goingOnRequested, [&] { led << QStringLiteral("go on"); });
  window.leadOn();
  const QString failure = window.itemOf(1);

  await(writer_->beginRun(conversation_));
  prompt("Go again.");
  settle(window);
  EXPECT_FALSE(window.rows()[1].canAct);
  EXPECT_FALSE(window.leadsOn());
  window.leadOn();
  await(writer_->endRun(conversation_, "", PromptOutcome::interrupted));
  await(writer_->appendFailureEvent(conversation_, "{}", "Interrupted: Ravant ended while this ran."));
  settle(window);
  EXPECT_TRUE(window.leadsOn());
  window.leadOn();
  EXPECT_THAT(led, ElementsAre(failure, QStringLiteral("go on")));
}

TEST_F(TranscriptWindowTest, CopiesWhatIsStored) {
  prompt("A *star*.");
  message("**Bold** and `code`.");
  message("Rain:\n\n| Day | mm |\n|---|---|\n| Mo | 3 |\n\nThat is all.");
  TranscriptWindow window;
  open(window);
  window.copyBlock(3);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("| Day | mm |\n|---|---|\n| Mo | 3 |"));
  window.copy(1);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("**Bold** and `code`."));
  window.select(0, 1);
  window.copy(0);
  EXPECT_TRUE(until(
      [] { return QGuiApplication::clipboard()->text() == QStringLiteral("A *star*.\n\n**Bold** and `code`."); }));
}

TEST_F(TranscriptWindowTest, TellsTheLinksOfWhatIsComplete) {
  prompt("See https://weather.example/?a=1&b=2");
  see();
  TranscriptWindow window;
  open(window);
  EXPECT_EQ(window.rows()[0].links, QStringList{QStringLiteral("https://weather.example/?a=1&b=2")});
  grow("[one](https://one.example) and [again](https://one.example)\n\n[two](https://two.example)", true);
  settle(window);
  ASSERT_EQ(window.rowCount(), 3);
  EXPECT_EQ(window.rows()[1].links, QStringList{QStringLiteral("https://one.example")});
  EXPECT_TRUE(window.rows()[2].links.isEmpty()) << "it grows";
}

TEST_F(TranscriptWindowTest, SaysOfAStoppedAndAnInterruptedRunWhatBecameOfIt) {
  const auto end = [&](PromptOutcome outcome) {
    await(writer_->beginRun(conversation_));
    prompt("Go.");
    message("So far.");
    await(writer_->endRun(conversation_, "", outcome));
  };
  end(PromptOutcome::cancelled);
  end(PromptOutcome::finished);
  end(PromptOutcome::cancelled);
  see();
  TranscriptWindow window;
  open(window);
  EXPECT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::prose, RowKind::stopped, RowKind::userMessage,
                                           RowKind::prose, RowKind::userMessage, RowKind::prose, RowKind::stopped));
  prompt("Again.");
  settle(window);
  EXPECT_EQ(kindsOf(window).back(), RowKind::userMessage);

  end(PromptOutcome::interrupted);
  await(writer_->appendFailureEvent(conversation_, "{}", "Interrupted: Ravant ended while this ran."));
  prompt("And again.");
  settle(window);
  const TranscriptRow& interrupted = window.rows()[window.rows().size() - 2];
  EXPECT_EQ(interrupted.kind, RowKind::interrupted) << "wherever it stands";
  EXPECT_EQ(interrupted.name, QStringLiteral("Interrupted: Ravant ended while this ran."));
}

TEST_F(TranscriptWindowTest, TellsInTheLineOfAGroupHowManyCallsFailed) {
  const auto fail = [&](std::string id) {
    await(writer_->completeToolInvocation(conversation_, std::move(id), "no", ToolOutcome::failed));
  };
  call("one", "make");
  call("two", "make test");
  fail("two");
  complete("one", "done");
  message("Once more.");
  call("three", "make");
  fail("three");
  message("And again.");
  call("four", "make");
  fail("four");
  call("five", "make");
  see();
  TranscriptWindow window;
  open(window);
  const auto name = [&](std::size_t row) { return window.rows()[row].name.toStdString(); };
  constexpr auto kTime = "(, [0-9]+ s)?";
  EXPECT_THAT(name(0), testing::MatchesRegex(fmt::format("Tool calls: Ran 2 commands, 1 failed{}, collapsed", kTime)));
  EXPECT_THAT(name(2), testing::MatchesRegex(fmt::format("Tool calls: [^,]*, failed{}, collapsed", kTime)));
  EXPECT_THAT(name(4),
              testing::MatchesRegex(fmt::format("Tool calls: .*, 2 calls, 1 failed{}, running, expanded", kTime)));
  EXPECT_THAT(window.rows()[0].detail.toStdString(), testing::StartsWith("1 failed")) << "it is shown, too";
}

}  // namespace
}  // namespace ravant::test
