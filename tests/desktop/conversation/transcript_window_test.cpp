#include "desktop/conversation/transcript_window.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>
#include <random>

#include "core/store/conversation_item_model_actor.hpp"
#include "desktop/conversation/place_marks.hpp"
#include "desktop/theme/theme.hpp"
#include "platform/sqlite/database.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::RowOutcome;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;

/// A conversation, and what writes to it as an agent does.
class TranscriptWindowTest : public testing::Test {
 protected:
  TranscriptWindowTest()
      : conversation_(workbench_.addConversation(workbench_.addProject("weather"))),
        writer_(ConversationItemModelActor::make(workbench_.application().modelContainer())) {}

  void prompt(std::string text) { await(writer_->appendUserPrompt(conversation_, std::move(text), AgentType::claude)); }
  void message(std::string text) { await(writer_->appendAgentMessage(conversation_, "{}", std::move(text), {}, {})); }
  void call(std::string id, std::string command) {
    await(writer_->appendToolInvocation(conversation_, "{}", "", "Bash", std::move(id),
                                        R"({"command":")" + command + R"("})", {}, ToolInvocationStatus::running));
  }
  void complete(std::string id, std::string output) {
    await(writer_->completeToolInvocation(conversation_, std::move(id), std::move(output), ToolOutcome::completed));
  }
  void grow(std::string text, bool isNew = false) {
    const auto& feed = workbench_.application().modelContainer()->changeFeed();
    await(feed->announceGrowth(conversation_, {.text = std::move(text), .isNewMessage = isNew}));
  }
  /// All of it was looked at.
  void see() {
    const auto last = await(workbench_.application().transcripts().last(conversation_));
    await(workbench_.application().conversations().markSeen(conversation_, last->id));
  }
  void settle(const TranscriptWindow& window) {
    workbench_.settle();
    QCoreApplication::processEvents();
    ASSERT_TRUE(until([&] { return window.isSettled() && window.isOpened(); }));
  }
  void open(TranscriptWindow& window) {
    window.setConversation(desktop::textOf(conversation_));
    settle(window);
  }

  Workbench workbench_;
  ConversationId conversation_;
  std::shared_ptr<ConversationItemModelActor> writer_;
};

std::vector<RowKind> kindsOf(const TranscriptWindow& window) {
  std::vector<RowKind> kinds;
  for (const TranscriptRow& row : window.rows()) kinds.push_back(row.kind);
  return kinds;
}

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
  EXPECT_THAT(name(0), testing::MatchesRegex(fmt::format("Tool calls: .*, 2 calls, 1 failed{}, collapsed", kTime)));
  EXPECT_THAT(name(2), testing::MatchesRegex(fmt::format("Tool calls: [^,]*, failed{}, collapsed", kTime)));
  EXPECT_THAT(name(4),
              testing::MatchesRegex(fmt::format("Tool calls: .*, 2 calls, 1 failed{}, running, expanded", kTime)));
  EXPECT_THAT(window.rows()[0].detail.toStdString(), testing::StartsWith("2 calls, 1 failed")) << "it is shown, too";
}

TEST_F(TranscriptWindowTest, ChangesNothingButTheLastRowsOfAMessageThatGrowsAndIsStored) {
  prompt("Tell me.");
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  grow("First paragraph.\n\nSec", true);
  settle(window);
  ASSERT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::prose, RowKind::prose));
  EXPECT_TRUE(window.rows()[2].isGrowing);

  std::vector<int> changed;
  QObject::connect(&window, &TranscriptWindow::dataChanged, [&](const QModelIndex& first, const QModelIndex& last) {
    for (int row = first.row(); row <= last.row(); ++row) changed.push_back(row);
  });
  const QSignalSpy inserted(&window, &TranscriptWindow::rowsInserted);
  const QSignalSpy removed(&window, &TranscriptWindow::rowsRemoved);
  grow("ond.");
  settle(window);
  EXPECT_THAT(changed, ElementsAre(2));
  message("First paragraph.\n\nSecond.");
  settle(window);
  EXPECT_EQ(inserted.count() + removed.count(), 0) << "the stored message takes the rows of the one that grew";
  EXPECT_FALSE(window.rows()[2].isGrowing);
  EXPECT_NE(window.rows()[2].item, ConversationItemId());

  grow("Another", true);
  settle(window);
  EXPECT_EQ(inserted.count(), 1);
  EXPECT_THAT(kindsOf(window), testing::SizeIs(4));
}

TEST_F(TranscriptWindowTest, DropsWhatWasReadOfAConversationThatWasLeft) {
  for (int count = 0; count < 40; ++count) message("Of the first.");
  const ConversationId other = workbench_.addConversation(workbench_.addProject("other"));
  await(writer_->appendUserPrompt(other, "Of the second.", AgentType::claude));
  TranscriptWindow window;
  window.setConversation(desktop::textOf(conversation_));
  QCoreApplication::processEvents();
  window.jumpToPlace(0);
  window.setConversation(desktop::textOf(other));
  settle(window);
  settle(window);
  ASSERT_EQ(window.rowCount(), 1);
  EXPECT_EQ(window.rows()[0].text, QStringLiteral("Of the second."));
  EXPECT_EQ(window.items(), 1);
}

TEST_F(TranscriptWindowTest, GoesAlongWithAnEndThatRunsAwayWithoutReadingAllBetween) {
  prompt("Go.");
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  grow("What is never stored", true);
  settle(window);
  int read = 0;
  QObject::connect(&window, &TranscriptWindow::rowsInserted,
                   [&](const QModelIndex&, int first, int last) { read += last - first + 1; });
  QObject::connect(&window, &TranscriptWindow::modelReset, [&] { read += window.rowCount(); });
  const turn::AppendAgentMessage one{.rawJSON = "{}", .text = "One."};
  ASSERT_TRUE(await(writer_->apply(conversation_, std::vector<TranscriptAction>(2000, one))));
  settle(window);
  EXPECT_LT(read, 500);
  EXPECT_TRUE(window.isAtEnd());
  EXPECT_EQ(window.items(), 2001);
  grow("Last", true);
  settle(window);
  ASSERT_TRUE(window.rows().back().isGrowing);
  message("Last");
  settle(window);
  EXPECT_NE(window.rows().back().item, ConversationItemId());
  EXPECT_THAT(kindsOf(window), testing::Each(RowKind::prose)) << "nothing that grew is left behind";
}

TEST_F(TranscriptWindowTest, StaysWithWhoReadsWhileMuchComesBehind) {
  for (int count = 0; count < 300; ++count) message("One.\n\nTwo.");
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  window.showing(20, 40, 5, 5);
  const ConversationItemId read = window.rows()[20].item;
  for (int count = 0; count < 700; ++count) message("One.\n\nTwo.");
  settle(window);
  EXPECT_THAT(window.rows(), Contains(Field(&TranscriptRow::item, read)));
  EXPECT_EQ(window.items(), 1000);
  EXPECT_FALSE(window.isAtEnd());
  window.jumpToEnd();
  settle(window);
  EXPECT_TRUE(window.isAtEnd());
  EXPECT_LE(window.rows().size(), TranscriptWindow::kMostRows);
}

TEST_F(TranscriptWindowTest, MarksAsSeenWhatIsLookedAtAndShowsWhereTheUnreadBegins) {
  prompt("First.");
  message("Seen.");
  const auto unread = [&] {
    return await(workbench_.application().conversations().conversation(conversation_))->unread;
  };
  TranscriptWindow window;
  open(window);
  window.setLookedAt(true);
  ASSERT_TRUE(until([&] { return unread() == 0; }));
  window.setLookedAt(false);
  window.setConversation({});
  message("Not seen.");
  EXPECT_EQ(unread(), 1);

  open(window);
  EXPECT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::prose, RowKind::unread, RowKind::prose));
  window.setLookedAt(true);
  ASSERT_TRUE(until([&] { return unread() == 0; }));
  EXPECT_THAT(kindsOf(window), Contains(RowKind::unread)) << "it stays until the conversation is left";
}

TEST_F(TranscriptWindowTest, OffersToTryAgainOnlyAtTheEnd) {
  prompt("Go.");
  await(writer_->appendFailureEvent(conversation_, "{}", "The connection was closed."));
  see();
  TranscriptWindow window;
  open(window);
  ASSERT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::failure));
  EXPECT_TRUE(window.rows()[1].canAct);
  EXPECT_EQ(window.rows()[1].name, QStringLiteral("Failed: The connection was closed."));
  prompt("Go again.");
  settle(window);
  EXPECT_FALSE(window.rows()[1].canAct);
}

TEST_F(TranscriptWindowTest, ShowsTheBeginningOfLongCodeAndAllOfItInPieces) {
  std::string code;
  for (int line = 1; line <= 100; ++line) code += "line " + std::to_string(line) + "\n";
  message("Look:\n\n```\n" + code + "```");
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  ASSERT_EQ(window.rowCount(), 2);
  EXPECT_EQ(window.rows()[1].hiddenLines, 60);
  window.showMore(1);
  ASSERT_EQ(window.rowCount(), 3);
  EXPECT_EQ(window.rows()[1].text + QLatin1Char('\n') + window.rows()[2].text + QLatin1Char('\n'),
            QString::fromStdString(code));
  EXPECT_EQ(window.rows()[2].hiddenLines, 0);
  window.setOpen(0, false);
  EXPECT_EQ(window.rowCount(), 2) << "all of the message folds";
}

TEST_F(TranscriptWindowTest, CopiesWhatIsStored) {
  prompt("A *star*.");
  message("**Bold** and `code`.");
  TranscriptWindow window;
  open(window);
  window.copy(1);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("**Bold** and `code`."));
  window.select(0, 1);
  window.copy(0);
  EXPECT_TRUE(until(
      [] { return QGuiApplication::clipboard()->text() == QStringLiteral("A *star*.\n\n**Bold** and `code`."); }));
}

TEST_F(TranscriptWindowTest, ComesBackToWhereAndHowItWasLeft) {
  for (int count = 0; count < 200; ++count) message("One.\n\nTwo.");
  prompt("Build it.");
  call("one", "make");
  complete("one", "done");
  const ConversationId other = workbench_.addConversation(workbench_.addProject("other"));
  see();
  std::pair<ConversationItemId, std::string> left;
  {
    TranscriptWindow window;
    const QSignalSpy returned(&window, &TranscriptWindow::returned);
    open(window);
    const int group = window.rowCount() - 1;
    window.setOpen(group, true);
    window.setOpen(group + 1, true);
    settle(window);
    window.jumpToPlace(0.3);
    settle(window);
    left = {window.rows()[31].item, window.rows()[31].html.toStdString()};
    window.keepPlace(31, 7);
    window.setConversation(desktop::textOf(other));
    settle(window);
    message("Something new.");
    open(window);
    ASSERT_EQ(returned.count(), 1);
    const TranscriptRow& row = window.rows()[static_cast<std::size_t>(returned[0][0].toInt())];
    EXPECT_EQ(std::pair(row.item, row.html.toStdString()), left);
    EXPECT_EQ(returned[0][1].toDouble(), 7);
    window.keepPlace(31, 9);
    window.setConversation({});
    ASSERT_TRUE(until([&] { return exists(workbench_.folder() / "data/reading-places.json"); }));
  }
  // Another start of the program.
  TranscriptWindow window;
  const QSignalSpy returned(&window, &TranscriptWindow::returned);
  const QSignalSpy jumped(&window, &TranscriptWindow::jumped);
  open(window);
  EXPECT_EQ(returned.count(), 1);
  window.jumpToEnd();
  settle(window);
  EXPECT_EQ(jumped.back()[0].toInt(), -1);
  EXPECT_THAT(kindsOf(window), testing::IsSupersetOf({RowKind::toolCall, RowKind::toolText, RowKind::unread}));
  window.keepPlace(-1, 0);
  window.setConversation(desktop::textOf(other));
  settle(window);
  open(window);
  EXPECT_EQ(returned.count(), 1) << "who was at the end is at the end";
}

TEST_F(TranscriptWindowTest, ReadsOnBesideAMessageOfMoreRowsThanAreHeld) {
  for (int count = 0; count < 100; ++count) message("Before.");
  std::string many;
  for (std::size_t row = 0; row < TranscriptWindow::kMostRows + 100; ++row) many += "Paragraph.\n\n";
  message(many);
  for (int count = 0; count < 100; ++count) message("Behind.");
  see();
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  window.jumpToItem(desktop::textOf(await(workbench_.application().transcripts().items(conversation_, {}))[100].id));
  settle(window);
  const auto big = std::ranges::max_element(window.rows(), {}, [](const TranscriptRow& row) { return row.block; });
  const ConversationItemId item = big->item;
  const auto rowsOfIt = [&] { return std::ranges::equal_range(window.rows(), item, {}, &TranscriptRow::item); };
  const auto first = [&] { return static_cast<int>(rowsOfIt().begin() - window.rows().begin()); };
  const auto last = [&] { return static_cast<int>(rowsOfIt().end() - window.rows().begin()) - 1; };
  window.showing(first(), first() + 8, 0, 80);
  settle(window);
  EXPECT_GT(first(), 0) << "what is above";
  window.showing(last() - 8, last(), 80, 0);
  settle(window);
  EXPECT_LT(last() + 1, window.rowCount()) << "what is below";
}

TEST_F(TranscriptWindowTest, LeavesWhatIsReadWhereItStandsWhenAllIsReadAgain) {
  for (int count = 0; count < 200; ++count) message("One.\n\nTwo.");
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  const auto readAgain = [&] {
    Q_EMIT workbench_.program().changes().everythingChanged();
    settle(window);
  };
  const QSignalSpy jumped(&window, &TranscriptWindow::jumped);
  const QSignalSpy returned(&window, &TranscriptWindow::returned);
  const QPersistentModelIndex end = window.index(window.rowCount() - 1);
  readAgain();
  EXPECT_EQ(end.row(), window.rowCount() - 1);
  EXPECT_EQ(jumped.count(), 0) << "who follows the end does so";

  window.jumpToPlace(0.5);
  settle(window);
  window.showing(30, 50, 3, 3);
  window.keepPlace(30, 7);
  settle(window);
  const QPersistentModelIndex read = window.index(40);
  readAgain();
  EXPECT_TRUE(read.isValid());
  EXPECT_EQ(returned.count(), 0);
  window.jumpToEnd();
  readAgain();
  EXPECT_TRUE(window.isAtEnd());
  EXPECT_EQ(jumped.back()[0].toInt(), -1) << "whoever goes elsewhere arrives";
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

TEST_F(TranscriptWindowTest, TriesAgainWhatCouldNotBeReadAndLosesNothingOfIt) {
  prompt("Go.");
  sqlite::Database store = workbench_.application().modelContainer()->connect();
  const auto breakStore = [&] { store.execute("ALTER TABLE conversation_item RENAME TO elsewhere"); };
  const auto mend = [&] { store.execute("ALTER TABLE elsewhere RENAME TO conversation_item"); };
  breakStore();
  TranscriptWindow window;
  window.setConversation(desktop::textOf(conversation_));
  ASSERT_TRUE(until([&] { return !window.trouble().isEmpty(); }));
  EXPECT_FALSE(window.isOpened());
  mend();
  window.tryAgain();
  settle(window);
  EXPECT_EQ(window.rowCount(), 1);
  EXPECT_TRUE(window.trouble().isEmpty());

  message("An answer.");
  settle(window);
  breakStore();
  window.jumpToPlace(0);
  ASSERT_TRUE(until([&] { return !window.trouble().isEmpty(); }));
  EXPECT_EQ(window.rowCount(), 2) << "what is right stays";
  const QSignalSpy jumped(&window, &TranscriptWindow::jumped);
  mend();
  window.tryAgain();
  settle(window);
  EXPECT_EQ(jumped.count(), 1);
  EXPECT_TRUE(window.trouble().isEmpty());
}

TEST_F(TranscriptWindowTest, ShowsNoTextThatBeginsInTheMiddleBehindWhatWasNotTold) {
  prompt("Tell me.");
  TranscriptWindow window;
  open(window);
  grow("The beginning", true);
  settle(window);
  Q_EMIT workbench_.program().changes().committed(ChangeBatch{.changes = {}, .isIncomplete = true});
  Q_EMIT workbench_.program().changes().everythingChanged();
  grow(" and the middle.");
  settle(window);
  EXPECT_EQ(window.rowCount(), 1);
  message("The beginning and the middle.");
  grow("Another.", true);
  settle(window);
  EXPECT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::prose, RowKind::prose));
}

TEST_F(TranscriptWindowTest, MarksNothingAsNewToWhoIsWatchingWhatHeSent) {
  prompt("First.");
  message("Answer.");
  TranscriptWindow window;
  open(window);
  EXPECT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::prose)) << "all of it is new";
  window.setLookedAt(true);
  ASSERT_TRUE(until([&] { return window.isSettled(); }));
  // The window was left and came back, and nothing had come.
  window.setLookedAt(false);
  window.setLookedAt(true);
  settle(window);
  const auto unread = [&] {
    return await(workbench_.application().conversations().conversation(conversation_))->unread;
  };
  prompt("Second.");
  message("Answer to it.");
  settle(window);
  ASSERT_TRUE(until([&] { return unread() == 0; }));
  settle(window);
  EXPECT_THAT(kindsOf(window), testing::Not(Contains(RowKind::unread)));

  window.setLookedAt(false);
  message("While away.");
  settle(window);
  window.setLookedAt(true);
  ASSERT_TRUE(until([&] { return unread() == 0; }));
  ASSERT_THAT(kindsOf(window), Contains(RowKind::unread));
  prompt("Third.");
  settle(window);
  EXPECT_THAT(kindsOf(window), testing::Not(Contains(RowKind::unread))) << "whoever goes on has seen it";
}

/// All that the rows of the item show, and what it says where there is more.
std::string shownText(const TranscriptWindow& window, RowKind kind) {
  std::string text;
  for (const TranscriptRow& row : window.rows()) {
    if (row.kind == kind) text += row.text.toStdString() + '\n' + (row.more.isEmpty() ? "" : "MORE");
  }
  return text;
}

TEST_F(TranscriptWindowTest, ShowsLongTextsInPiecesAndAllOfThem) {
  const std::string line(100'000, 'x');
  prompt(line);
  std::string table = "| number | word |\n|---|---|\n";
  for (int row = 0; row < 1000; ++row) table += "| " + std::to_string(row) + " | <b>|\n";
  message(table);
  await(writer_->appendToolInvocation(conversation_, "{}", "", "Bash", "one", R"({"command":")" + line + R"("})", {},
                                      ToolInvocationStatus::running));
  complete("one", line + "\nend");
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  ASSERT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::table, RowKind::toolGroup));
  EXPECT_EQ(window.rows()[0].more, QStringLiteral("Show the rest of the line, 96 kB"));
  EXPECT_EQ(window.rows()[1].more, QStringLiteral("Show 940 more rows"));
  EXPECT_LT(window.rows()[1].html.count(QStringLiteral("<tr>")), 100);
  window.setOpen(2, true);
  window.setOpen(3, true);
  settle(window);
  for (int row = 0; row < window.rowCount() && row < 1000; ++row) {
    if (!window.rows()[static_cast<std::size_t>(row)].more.isEmpty()) window.showMore(row--);
  }
  std::string prompted = shownText(window, RowKind::userMessage);
  std::erase(prompted, '\n');
  EXPECT_EQ(prompted, line);
  std::string called = shownText(window, RowKind::toolText);
  std::erase(called, '\n');
  EXPECT_EQ(called, "command: " + line + line + "end");
  int rows = 0;
  for (const TranscriptRow& row : window.rows()) {
    rows += static_cast<int>(row.html.count(QStringLiteral("</tr>")));
    EXPECT_LT(row.text.size(), 20'000);
  }
  EXPECT_EQ(rows, 1001);
}

TEST_F(TranscriptWindowTest, PaintsChangesThatACallWasGivenOrBrought) {
  const auto invoke = [&](const std::string& tool, const std::string& input, const std::string& output) {
    await(writer_->appendToolInvocation(conversation_, "{}", "", tool, tool + output, input, {},
                                        ToolInvocationStatus::running));
    complete(tool + output, output);
  };
  invoke("Edit",
         R"({"file_path":"a","edits":[{"old_string":"b","new_string":"c"},)"
         R"({"old_string":"d","new_string":""}]})",
         "ok");
  invoke("Bash", R"({"command":"git show"})", "commit 1\n\ndiff --git a/a b/a\n--- a/a\n+++ b/a\n@@ -1 +1 @@\n-b\n+c");
  invoke("Read", R"({"file_path":"a.md"})", "--- \n- no change");
  TranscriptWindow window;
  open(window);
  window.setOpen(0, true);
  for (int row = 0; row < window.rowCount(); ++row) {
    if (window.rows()[static_cast<std::size_t>(row)].kind != RowKind::toolCall) continue;
    window.setOpen(row, true);
    settle(window);
  }
  std::vector<std::string> painted;
  for (const TranscriptRow& row : window.rows()) {
    if (row.kind != RowKind::toolText || !row.paint) continue;
    const auto lines = row.text.split(QLatin1Char('\n'));
    for (std::size_t line = 0; line < row.paint->lines.size(); ++line) {
      for (const desktop::CodeSpan& span : row.paint->lines[line]) {
        if (span.token == desktop::CodeToken::added || span.token == desktop::CodeToken::removed) {
          painted.push_back(lines[static_cast<qsizetype>(line)].toStdString());
        }
      }
    }
  }
  EXPECT_THAT(painted, ElementsAre("- b", "+ c", "- d", "-b", "+c"));
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

TEST_F(TranscriptWindowTest, MarksPromptsFailuresAndWhatWasFound) {
  for (int count = 0; count < 99; ++count) message("One.");
  prompt("Go.");
  desktop::ColorScheme scheme;
  desktop::Theme theme(scheme);
  desktop::PlaceMarks marks;
  marks.setConversation(desktop::textOf(conversation_));
  ASSERT_TRUE(until([&] { return marks.marks().items == 100; }));
  using Kind = desktop::PlaceMarks::Kind;
  EXPECT_THAT(marks.lines(200), testing::AllOf(testing::SizeIs(100), Contains(Kind::prompt).Times(1)));
  EXPECT_EQ(marks.lines(200)[99], Kind::prompt);
  await(writer_->appendFailureEvent(conversation_, "{}", "The connection was closed."));
  for (int count = 0; count < 99; ++count) message("One.");
  marks.setFindPlaces({0, 0.99});
  ASSERT_TRUE(until([&] { return marks.marks().items == 200; }));
  EXPECT_EQ(marks.marks(), await(workbench_.application().transcripts().marks(conversation_, {})))
      << "as if all were read again";
  const auto lines = marks.lines(200);
  EXPECT_EQ(lines[0], Kind::found);
  EXPECT_EQ(lines[49], Kind::prompt);
  EXPECT_EQ(lines[50], Kind::failure);
  EXPECT_EQ(marks.lines(40)[10], Kind::failure) << "of several, the one that matters most";
}

/// What is shown of a row, without the name under which it stays.
QString shownOf(const TranscriptRow& row) {
  return QStringLiteral("%1 %2 %3%4%5%6 %7|%8|%9|")
             .arg(static_cast<int>(row.kind))
             .arg(desktop::textOf(row.item))
             .arg(row.isFirst)
             .arg(row.isLast)
             .arg(row.isOpen)
             .arg(row.isGrowing)
             .arg(static_cast<int>(row.outcome))
             .arg(row.html, row.text) +
         // How long something has been running changes by itself.
         (row.outcome == RowOutcome::running ? QString() : row.detail + row.name) +
         QStringLiteral("%1|%2").arg(row.label).arg(row.hiddenLines);
}

QStringList shownOf(const std::vector<TranscriptRow>& rows) {
  QStringList lines;
  for (const TranscriptRow& row : rows) lines.append(shownOf(row));
  return lines;
}

/// Does at random what agents, readers and views do, and compares with what is read anew of the same items.
class Walk : public TranscriptWindowTest, public testing::WithParamInterface<unsigned> {
 protected:
  int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }

  std::string someMessage() {
    static const std::vector<std::string> kPieces = {
        "The page cut between them.\n\n",      "- one\n- two\n\n", "```cpp\nint a = 1;\nint b = 2;\n```\n\n",
        "| a | b |\n|---|---|\n| x | 1 |\n\n", "## Why\n\n",       "> quoted\n\n"};
    std::string text;
    for (int count = 1 + below(5); count > 0; --count) text += kPieces[static_cast<std::size_t>(below(6))];
    return text;
  }

  void step(TranscriptWindow& window) {
    const int rows = window.rowCount();
    const int row = rows == 0 ? 0 : below(rows);
    switch (below(18)) {
      case 0:
        return prompt("Prompt " + std::to_string(++number_));
      case 1:
      case 2:
        return finishMessage();
      case 3:
        finishMessage();
        for (int count = below(30); count > 0; --count) message(someMessage());
        return;
      case 4:
        ++number_;
        return call("call" + std::to_string(number_), "make " + std::to_string(number_));
      case 5:
        return complete("call" + std::to_string(number_ - below(3)), "exit 0");
      case 6:
      case 7:
        growing_ += growing_.empty() ? "Growing " : someMessage();
        return grow(growing_.substr(grown_), grown_ == 0), void(grown_ = growing_.size());
      case 8:
        return window.showing(row, std::min(rows - 1, row + 8), 1, 5);
      case 9:
        return window.showing(row, std::min(rows - 1, row + 8), 5, 1);
      case 10:
        return window.jumpToPlace(below(100) / 100.0);
      case 11:
        return below(2) == 0 ? window.jumpToEnd() : window.jumpToPrompt(row, below(2) == 0 ? -1 : 1);
      case 12:
        window.setOpen(row, below(2) == 0);
        return;
      case 13:
        return window.keepPlace(row - 1, 3);
      case 14:
        return leaveAndComeBack(window);
      case 15:
        return Q_EMIT workbench_.program().changes().everythingChanged();
      case 16:
        return rows == 0 ? void() : remove(window.rows()[static_cast<std::size_t>(row)].item);
      default:
        return window.showMore(row);
    }
  }

  void remove(ConversationItemId item) {
    sqlite::Database store = workbench_.application().modelContainer()->connect();
    store.execute(("DELETE FROM conversation_item WHERE id = " + item.text()).c_str());
    Q_EMIT workbench_.program().changes().itemChanged(conversation_, item, ChangeOperation::removed);
  }

  void leaveAndComeBack(TranscriptWindow& window) {
    const auto place = window.reading().place;
    window.setConversation({});
    EXPECT_EQ(window.rowCount(), 0);
    open(window);
    EXPECT_EQ(window.reading().place, place);
    if (!place) EXPECT_TRUE(window.isAtEnd());
    if (place && place->item != ConversationItemId()) {
      EXPECT_THAT(window.rows(), Contains(Field(&TranscriptRow::item, place->item)));
    }
  }

  void finishMessage() {
    message(growing_.empty() ? someMessage() : growing_);
    growing_.clear();
    grown_ = 0;
  }

  /// Of the items that the window holds, as another one shows them that has just been opened.
  void expectFresh(const TranscriptWindow& window) {
    std::vector<TranscriptRow> stored;
    for (const TranscriptRow& row : window.rows()) {
      if (row.item != ConversationItemId() && row.kind != RowKind::unread) stored.push_back(row);
    }
    std::set<ConversationItemId> held;
    std::vector<ConversationItemId> order;
    for (const TranscriptRow& row : stored) {
      if (held.insert(row.item).second) order.push_back(row.item);
    }
    const auto all = await(workbench_.application().transcripts().items(conversation_, std::nullopt));
    std::vector<ConversationItemId> expectedOrder;
    std::vector<ConversationItem> expected;
    auto item = std::ranges::find(all, order.empty() ? ConversationItemId() : order.front(), &ConversationItem::id);
    for (; item != all.end() && expected.size() < order.size(); ++item) {
      expectedOrder.push_back(item->id);
      expected.push_back(*item);
    }
    ASSERT_EQ(order, expectedOrder) << "the rows are of neighbours, in their order";
    if (window.isAtEnd() && !all.empty()) {
      ASSERT_FALSE(order.empty());
      EXPECT_EQ(order.back(), all.back().id);
    }
    EXPECT_EQ(window.isAtBeginning(), order.empty() || order.front() == all.front().id);
    if (!order.empty()) {
      EXPECT_EQ(window.positionOf(0), std::ranges::find(all, order.front(), &ConversationItem::id) - all.begin());
    }
    EXPECT_EQ(window.items(), static_cast<int>(all.size()));

    // Whatever was folded by hand is folded alike.
    QStringList fresh;
    for (ConversationItem& each : expected) {
      desktop::ShownItem made = desktop::shownItem(std::move(each), (workbench_.folder() / "weather").string());
      const desktop::RowSurroundings around{
          .agent = QStringLiteral("Claude Code"), .now = SystemClock().now(), .callTexts = window.openTexts()};
      fresh += shownOf(rowsOf(made, window.folds(made.item.id), around));
    }
    QStringList rows = shownOf(stored);
    EXPECT_EQ(rows, fresh);
  }

  std::mt19937 random_{GetParam()};
  int number_ = 0;
  std::string growing_;
  std::size_t grown_ = 0;
};

TEST_P(Walk, EqualsAFreshReadingAfterEveryStep) {
  for (int count = 0; count < 90; ++count) message(someMessage());
  TranscriptWindow window;
  const QAbstractItemModelTester tester(&window, QAbstractItemModelTester::FailureReportingMode::Fatal);
  open(window);
  for (int count = 0; count < 70 && !HasFailure(); ++count) {
    step(window);
    settle(window);
    expectFresh(window);
    EXPECT_LE(window.rows().size(), TranscriptWindow::kMostRows + 120);
    const bool isGrowing = !growing_.empty() && window.isAtEnd();
    EXPECT_EQ(!window.rows().empty() && window.rows().back().isGrowing, isGrowing);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, Walk, testing::Range(1U, 5U));

}  // namespace
}  // namespace ravant::test
