#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include "platform/sqlite/database.hpp"
#include "tests/desktop/conversation/transcript_window_test.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;

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

TEST_F(TranscriptWindowTest, WalksFromPromptToPromptAndNoFartherThanTheLast) {
  prompt("One.");
  message("Done.");
  prompt("Two.");
  TranscriptWindow window;
  const QSignalSpy jumped(&window, &TranscriptWindow::jumped);
  open(window);
  grow("As it comes");
  ASSERT_TRUE(until([&] { return window.rows().back().isGrowing; }));
  const auto textReachedFrom = [&](int row, int direction) {
    const auto before = jumped.count();
    window.jumpToPrompt(row, direction);
    EXPECT_TRUE(until([&] { return jumped.count() > before; }));
    return window.rows()[static_cast<std::size_t>(jumped.back()[0].toInt())].text;
  };
  const int growing = window.rowCount() - 1;
  window.jumpToPrompt(growing, 1);  // nothing comes behind what is not stored yet
  EXPECT_EQ(textReachedFrom(growing, -1), QStringLiteral("Two."));
  EXPECT_EQ(textReachedFrom(1, 1), QStringLiteral("Two."));
  EXPECT_EQ(textReachedFrom(1, -1), QStringLiteral("One."));
  window.jumpToPrompt(0, -1);
  settle(window);
  EXPECT_EQ(jumped.count(), 4) << "the first showing, and three steps";
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
  window.showing({first(), first() + 8, 0, 80});
  settle(window);
  EXPECT_GT(first(), 0) << "what is above";
  window.showing({last() - 8, last(), 80, 0});
  settle(window);
  EXPECT_LT(last() + 1, window.rowCount()) << "what is below";
}

TEST_F(TranscriptWindowTest, TellsHowMuchOfTheConversationIsVisible) {
  for (int count = 0; count < 3; ++count) message("One.");
  message("One.\n\n```\nTwo.\n```\n");
  TranscriptWindow window;
  open(window);
  ASSERT_EQ(window.rowCount(), 5);
  const auto visible = [&](const TranscriptWindow::VisibleRows& rows) {
    window.showing(rows);
    return std::pair(window.place(), window.extent());
  };
  EXPECT_EQ(visible({0, 4, 0, 0}), std::pair(0.0, 1.0));
  EXPECT_EQ(visible({0, 4, 0.5, 0, 0.5, 0}), std::pair(0.125, 0.875));
  EXPECT_EQ(visible({1, 2, 1, 1, 0, 0.5}), std::pair(0.25, 0.375));
  EXPECT_EQ(visible({4, 4, 3, 0.25, 0.5, 0.25}), std::pair(0.9375, 0.03125)) << "half of the last item is a row";
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
  window.showing({30, 50, 3, 3});
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

}  // namespace
}  // namespace ravant::test
