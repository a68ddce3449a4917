#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QSignalSpy>

#include "tests/desktop/conversation/transcript_window_test.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;

/// A conversation of messages "0", "1", "2" and so on, each a row, all of which were seen.
class LongTranscript : public TranscriptWindowTest {
 protected:
  void write(int messages) {
    for (int count = 0; count < messages; ++count) message(std::to_string(next_++));
  }
  int numberOf(int row) const { return window_.rows()[static_cast<std::size_t>(row)].html.toInt(); }
  bool holds(int number) const {
    return std::ranges::find(window_.rows(), QString::number(number), &TranscriptRow::html) != window_.rows().end();
  }
  /// So that row `first` to row `last` are visible, with nothing near an edge of what is held.
  void show(int first, int last, double above = 9, double below = 9) {
    window_.showing({first, last, above, below});
    settle(window_);
  }
  std::vector<int> selected() const {
    std::vector<int> texts;
    for (int row = 0; row < window_.rowCount(); ++row) {
      if (window_.index(row).data(TranscriptWindow::isSelectedRole).toBool()) {
        texts.push_back(numberOf(row));
      }
    }
    return texts;
  }

  TranscriptWindow window_;
  QAbstractItemModelTester tester_{&window_, QAbstractItemModelTester::FailureReportingMode::Fatal};

 private:
  int next_ = 0;
};

TEST_F(LongTranscript, KeepsWhatIsSelectedWhileRowsComeAndGo) {
  write(1500);
  see();
  open(window_);
  const int last = window_.rowCount() - 1;
  window_.select(last, last - 2);
  EXPECT_EQ(selected(), std::vector({1497, 1498, 1499}));
  show(0, 20, 0, 9);
  ASSERT_GT(window_.rowCount(), last + 1) << "older ones came";
  EXPECT_EQ(selected(), std::vector({1497, 1498, 1499}));
  // On and on upwards, until the end is not held any more.
  while (holds(1499)) show(0, 20, 0, 9);
  window_.select(30, 29);
  ASSERT_EQ(selected().front(), numberOf(29));
  QStringList expected;
  for (int number = numberOf(29); number < 1500; ++number) expected.append(QString::number(number));
  QGuiApplication::clipboard()->clear();
  window_.copy(0);
  const auto copied = [] { return QGuiApplication::clipboard()->text().split(QStringLiteral("\n\n")); };
  ASSERT_TRUE(until([&] { return copied().size() > 1; }));
  EXPECT_EQ(copied(), expected) << "also what left the rows";
  window_.select(29, 31);
  EXPECT_EQ(selected().front(), numberOf(31)) << "from the same end as before";
  window_.clearSelection();
  EXPECT_EQ(selected(), std::vector<int>());
}

TEST_F(LongTranscript, LeadsToWhatWasNotSeen) {
  write(300);
  see();
  write(200);
  open(window_);
  EXPECT_EQ(window_.unreadAbove(), 0) << "nobody knows yet what is visible";
  show(window_.rowCount() - 20, window_.rowCount() - 1);
  EXPECT_EQ(window_.unreadAbove(), 200);
  const QSignalSpy jumped(&window_, &TranscriptWindow::jumped);
  window_.jumpToUnread();
  settle(window_);
  ASSERT_EQ(jumped.count(), 1);
  const int row = jumped[0][0].toInt();
  EXPECT_EQ(window_.rows()[static_cast<std::size_t>(row)].kind, RowKind::unread);
  EXPECT_EQ(numberOf(row + 1), 300);
  show(row - 5, row + 5);
  show(row + 10, row + 20);
  EXPECT_EQ(window_.unreadAbove(), 0) << "who was there knows where it is";
}

TEST_F(LongTranscript, TellsThatAnotherProgramRunsInIt) {
  write(2);
  see();
  open(window_);
  const auto tells = [&] { return window_.rows().back().kind == RowKind::runState; };
  EXPECT_FALSE(tells());
  {
    const OpenStore other(workbench_.folder() / "data", std::chrono::milliseconds(1));
    run(other.items->beginRun(conversation_));
    run(other.items->appendUserPrompt(conversation_, "go", AgentType::claude));
    ASSERT_TRUE(until(tells));
    EXPECT_EQ(window_.rows().back().name, QStringLiteral("Running in another program"));
    run(other.items->endRun(conversation_, "", PromptOutcome::finished));
    EXPECT_TRUE(until([&] { return !tells(); }));
  }
}

}  // namespace
}  // namespace ravant::test
