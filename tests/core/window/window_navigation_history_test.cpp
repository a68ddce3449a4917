#include "core/window/window_navigation_history.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/files/private_file.hpp"
#include "platform/log/log.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using Snapshot = WindowNavigationHistory::Snapshot;
using ::testing::HasSubstr;

/// An issue for each letter; `-` for a selection of nothing.
Snapshot shows(char letter) {
  if (letter == '-') return {};
  return {.content = LatestConversations(), .detail = LinearIssueId(letter)};
}

std::string letters(const std::vector<Snapshot>& snapshots) {
  std::string text;
  for (const Snapshot& snapshot : snapshots) {
    text += snapshot.isEmpty() ? '-' : static_cast<char>(std::get<LinearIssueId>(*snapshot.detail).value());
  }
  return text;
}

struct HistoryRow {
  std::string_view name;
  /// A letter is recorded; `<` and `>` step back and forward; `!` forgets the letter behind it.
  std::string_view operations;
  std::string_view back;
  std::string_view current;
  std::string_view forward;
};

class History : public testing::TestWithParam<HistoryRow> {};

TEST_P(History, standsAfterItsOperations) {
  WindowNavigationHistory history;
  std::string_view rest = GetParam().operations;
  for (; !rest.empty(); rest.remove_prefix(1)) {
    const Snapshot before = history.current();
    if (rest.front() == '<' || rest.front() == '>') {
      const bool isBack = rest.front() == '<';
      const bool isPossible = !(isBack ? history.back() : history.forward()).empty();
      const auto shown = isBack ? history.stepBack() : history.stepForward();
      EXPECT_EQ(shown.has_value(), isPossible);
      EXPECT_EQ(history.current(), shown.value_or(before));
    } else if (rest.front() == '!') {
      rest.remove_prefix(1);
      history.forget([&](const Snapshot& snapshot) { return snapshot == shows(rest.front()); });
      EXPECT_EQ(history.current(), before);
    } else {
      const Snapshot next = shows(rest.front());
      history.record(next.content, next.detail);
    }
  }
  EXPECT_EQ(letters(history.back()), GetParam().back);
  EXPECT_EQ(letters({history.current()}), GetParam().current);
  EXPECT_EQ(letters(history.forward()), GetParam().forward);
}

INSTANTIATE_TEST_SUITE_P(Table, History,
                         testing::Values(HistoryRow{"fresh", "", "", "-", ""},
                                         HistoryRow{"firstPushesNothing", "a", "", "a", ""},
                                         HistoryRow{"second", "ab", "a", "b", ""},
                                         HistoryRow{"sameTwice", "abb", "a", "b", ""},
                                         HistoryRow{"sameAgainKeepsForward", "ab<a", "", "a", "b"},
                                         HistoryRow{"backAndForward", "abc<<>", "a", "b", "c"},
                                         HistoryRow{"newEndsForward", "abc<<d", "a", "d", ""},
                                         HistoryRow{"backAtTheBeginning", "a<", "", "a", ""},
                                         HistoryRow{"forwardAtTheEnd", "ab>", "a", "b", ""},
                                         HistoryRow{"fromNothingNothingIsPushed", "a-<", "", "a", ""},
                                         HistoryRow{"emptyIsNoPlaceToGoTo", "a-b<", "", "a", "b"},
                                         HistoryRow{"forgetsOnBothSides", "abcab<<!b", "a", "c", "a"},
                                         HistoryRow{"forgetKeepsCurrent", "aba!a", "b", "a", ""},
                                         HistoryRow{"neverLandsOnForgotten", "abc!b<", "", "a", "c"}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(WindowNavigationHistory, hasNoLimit) {
  WindowNavigationHistory history;
  for (int i = 1; i <= 5000; ++i) history.record(std::nullopt, LinearIssueId(i));
  int steps = 0;
  while (history.stepBack()) ++steps;
  EXPECT_EQ(steps, 4999);
  EXPECT_EQ(history.current().detail, DetailSelection(LinearIssueId(1)));
}

TEST(WindowNavigationHistory, namesEachOperationInTheLog) {
  const TemporaryFolder folder;
  openLogFile(folder.path());
  WindowNavigationHistory history;
  history.record(LatestConversations(), {});
  history.stepBack();
  history.stepForward();
  history.forget([](const Snapshot&) { return false; });
  const std::string log = readFile(folder / "ravant.log").value_or("");
  for (const char* operation : {"record(content:detail:)", "stepBack()", "stepForward()", "forget(where:)"}) {
    EXPECT_THAT(log, HasSubstr(operation));
  }
}

}  // namespace
}  // namespace ravant::test
