#include <fmt/format.h>
#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>

#include "tests/desktop/conversation/transcript_window_test.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;

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

TEST_F(TranscriptWindowTest, UnfoldsAndCopiesWhatGrowsAndKeepsItSoWhenItIsStored) {
  prompt("Go.");
  TranscriptWindow window;
  open(window);
  std::string text = "Look:\n\n```\n";
  for (int line = 0; line < 100; ++line) text += fmt::format("{}\n", line);
  grow(text, true);
  settle(window);
  ASSERT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::prose, RowKind::code));
  ASSERT_GT(window.rows().back().hiddenLines, 0);
  window.showMore(2);
  EXPECT_EQ(window.rows().back().hiddenLines, 0);
  window.copy(1);
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), text);
  window.setOpen(2, false);
  EXPECT_GT(window.rows().back().hiddenLines, 0);
  window.setOpen(2, true);
  message(text + "```");
  settle(window);
  EXPECT_NE(window.rows().back().item, ConversationItemId());
  EXPECT_EQ(window.rows().back().hiddenLines, 0);

  // A long one is not read on the interface's thread.
  grow(text + "```\n\n" + std::string(150'000, 'x') + "\n\n" + text, true);
  ASSERT_TRUE(
      until([&] { return window.rows().back().kind == RowKind::code && window.rows().back().hiddenLines > 0; }));
  window.showMore(window.rowCount() - 1);
  EXPECT_TRUE(until([&] { return window.rows().back().hiddenLines == 0; }));
}

TEST_F(TranscriptWindowTest, ShowsNothingTwiceWhereItsConversationWasLeftWhileAMessageWasStored) {
  prompt("Go.");
  const ConversationId other = workbench_.addConversation(workbench_.addProject("other"));
  TranscriptWindow window;
  open(window);
  grow("First.", true);
  settle(window);
  QObject leaving;
  QObject::connect(&workbench_.program().changes(), &desktop::StoreChanges::itemChanged, &leaving,
                   [&] { window.setConversation(desktop::textOf(other)); });
  message("First.");
  settle(window);
  grow("Second.", true);
  workbench_.settle();
  message("Second.");
  workbench_.settle();
  open(window);
  EXPECT_THAT(kindsOf(window), ElementsAre(RowKind::userMessage, RowKind::prose, RowKind::prose));
  grow("Third.", true);
  settle(window);
  EXPECT_TRUE(window.rows().back().isGrowing);
  EXPECT_EQ(window.rowCount(), 4);
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
  window.showing({20, 40, 5, 5});
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

}  // namespace
}  // namespace ravant::test
