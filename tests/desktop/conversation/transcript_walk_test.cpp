#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <random>

#include "platform/sqlite/database.hpp"
#include "tests/desktop/conversation/transcript_window_test.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::RowOutcome;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;
using testing::Contains;
using testing::Field;

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
        return window.showing({row, std::min(rows - 1, row + 8), 1, 5});
      case 9:
        return window.showing({row, std::min(rows - 1, row + 8), 5, 1});
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
