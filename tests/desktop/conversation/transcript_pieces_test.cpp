#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QRegularExpression>

#include "tests/desktop/conversation/transcript_window_test.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;
using testing::ElementsAre;

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

TEST_F(TranscriptWindowTest, SetsTheColumnsOfATableAsItSays) {
  message("| left | centre | right | number | centred number |\n|:--|:-:|--:|---|:-:|\n| a | b | c | 1 | 2 |");
  TranscriptWindow window;
  open(window);
  ASSERT_EQ(window.rowCount(), 1);
  static const QRegularExpression kCell(QStringLiteral("<td align=\"(\\w+)\""));
  QStringList columns;
  for (const auto& cell : kCell.globalMatch(window.rows()[0].html)) columns.append(cell.captured(1));
  EXPECT_EQ(columns.join(QLatin1Char(' ')), QStringLiteral("left center right right center"));
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
  complete("one", line + "\r\nend\r\n");
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
         R"({"file_path":"a","edits":[{"old_string":"same\nb\nkept\nlast","new_string":"same\nc\nkept\nnew\nlast\n"},)"
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
  EXPECT_THAT(painted, ElementsAre("- b", "+ c", "+ new", "- d", "-b", "+c"));
}

}  // namespace
}  // namespace ravant::test
