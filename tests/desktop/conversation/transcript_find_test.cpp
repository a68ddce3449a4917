#include "desktop/conversation/transcript_find.hpp"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include "core/store/conversation_item_model_actor.hpp"
#include "desktop/conversation/found_places.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::TranscriptFind;
using desktop::TranscriptRow;
using desktop::TranscriptWindow;

std::string lines(int count, int at, const std::string& words) {
  std::string text;
  for (int line = 1; line <= count; ++line) text += line == at ? words + "\n" : "line " + std::to_string(line) + "\n";
  return text;
}

/// A conversation that hides the words wherever it can.
class TranscriptFindTest : public testing::Test {
 protected:
  TranscriptFindTest() {
    find_.setRows(&window_);
    QObject::connect(&window_, &TranscriptWindow::placed, &window_, [this](int row) { placed_ = row; });
  }

  void prompt(std::string text) { await(writer_->appendUserPrompt(conversation_, std::move(text), AgentType::claude)); }
  void message(std::string text) { await(writer_->appendAgentMessage(conversation_, "{}", std::move(text), {}, {})); }
  void call(std::string id, std::string output) {
    await(writer_->appendToolInvocation(conversation_, "{}", "", "Bash", id, R"({"command":"make"})", {},
                                        ToolInvocationStatus::running));
    await(writer_->completeToolInvocation(conversation_, std::move(id), std::move(output), ToolOutcome::completed));
  }
  void open() {
    window_.setConversation(desktop::textOf(conversation_));
    ASSERT_TRUE(until([&] { return window_.isSettled() && window_.isOpened(); }));
  }
  /// The row at which the view is led to the words, after `act`.
  const TranscriptRow& placeAfter(const std::function<void()>& act) {
    placed_.reset();
    act();
    if (!until([&] { return placed_.has_value() && window_.isSettled(); })) throw std::runtime_error("no place");
    return window_.rows()[static_cast<std::size_t>(*placed_)];
  }
  std::string text(const TranscriptRow& row) const { return (row.html + row.text).toStdString(); }
  int place() const { return window_.data(window_.index(*placed_), TranscriptWindow::placeRole).toInt(); }

  Workbench workbench_;
  ConversationId conversation_ = workbench_.addConversation(workbench_.addProject("weather"));
  std::shared_ptr<ConversationItemModelActor> writer_ =
      ConversationItemModelActor::make(workbench_.application().modelContainer());
  TranscriptWindow window_;
  QAbstractItemModelTester tester_{&window_, QAbstractItemModelTester::FailureReportingMode::Fatal};
  TranscriptFind find_;
  std::optional<int> placed_;
};

TEST_F(TranscriptFindTest, LeadsToTheWordsWhereverTheyAreHidden) {
  prompt(lines(60, 55, "the needle of the prompt"));
  call("one", lines(500, 450, "the needle of the output"));
  std::string answer;
  for (int paragraph = 1; paragraph <= 60; ++paragraph) {
    answer += paragraph == 41 ? "A **Néedle** and a needle.\n\n" : "Paragraph " + std::to_string(paragraph) + "\n\n";
  }
  message(answer);
  message("Code:\n\n```\n" + lines(100, 90, "the needle of the code") + "```");
  open();
  const auto all = window_.rowCount();
  const auto next = [&] { find_.next(); };

  const TranscriptRow& code = placeAfter([&] { find_.setText(QStringLiteral("needle")); });
  EXPECT_EQ(code.kind, RowKind::code);
  EXPECT_THAT(text(code), testing::HasSubstr("needle of the code"));
  EXPECT_EQ(find_.status(), QStringLiteral("4 of 4 messages"));
  EXPECT_EQ(find_.places(), (QList<double>{0, 0.25, 0.5, 0.75}));
  EXPECT_GT(window_.rowCount(), all) << "what is beyond the first lines is shown";

  const TranscriptRow& user = placeAfter(next);
  EXPECT_EQ(user.kind, RowKind::userMessage);
  EXPECT_THAT(text(user), testing::HasSubstr("needle of the prompt"));
  EXPECT_EQ(find_.status(), QStringLiteral("From the beginning: 1 of 4 messages"));

  const TranscriptRow& output = placeAfter(next);
  EXPECT_EQ(output.kind, RowKind::toolText);
  EXPECT_THAT(text(output), testing::HasSubstr("needle of the output"));
  EXPECT_EQ(window_.rows()[0].hiddenLines, 20) << "what was unfolded for another place is folded again";

  const TranscriptRow& prose = placeAfter(next);
  EXPECT_THAT(text(prose), testing::HasSubstr("Néedle"));
  EXPECT_EQ(place(), 1);
  EXPECT_EQ(find_.status(), QStringLiteral("3 of 4 messages, match 1 of 2"));
  EXPECT_EQ(window_.rowCount(), all) << "the call is folded again";
  placeAfter(next);
  EXPECT_EQ(place(), 2) << "the same row";
  placeAfter(next);
  EXPECT_EQ(find_.status(), QStringLiteral("4 of 4 messages"));
  for (int press = 0; press < 4; ++press) find_.next();
  EXPECT_TRUE(until([&] { return find_.status() == QStringLiteral("3 of 4 messages, match 2 of 2"); }))
      << "no press is lost: " << find_.status().toStdString();

  const int open = window_.rowCount();
  find_.end();
  EXPECT_EQ(window_.rowCount(), open) << "what one reads stays";
  EXPECT_TRUE(window_.markedText().isEmpty());
  EXPECT_TRUE(find_.places().isEmpty());
}

TEST_F(TranscriptFindTest, LetsOnePlaceStandOutAtATime) {
  message("A needle.");
  message("Another needle.");
  open();
  std::map<int, int> shown;
  const auto look = [&](const QModelIndex& row) { shown[row.row()] = row.data(TranscriptWindow::placeRole).toInt(); };
  QObject::connect(&window_, &TranscriptWindow::dataChanged, &window_, [&](const QModelIndex& first) { look(first); });
  placeAfter([&] { find_.setText(QStringLiteral("needle")); });
  placeAfter([&] { find_.next(); });
  EXPECT_THAT(shown, testing::UnorderedElementsAre(testing::Pair(0, 1), testing::Pair(1, 0)));
}

TEST_F(TranscriptFindTest, UnfoldsOnlySoMuchOfWhatHasTheWordsEverywhere) {
  for (int each = 0; each < 30; ++each) call(std::to_string(each), lines(4000, 3900, "the needle"));
  std::string many;
  for (int count = 0; count < 20'000; ++count) many += "needle ";
  message("```\n" + many + "\n```");
  open();
  placeAfter([&] { find_.setText(QStringLiteral("needle")); });
  EXPECT_LT(window_.places(), 5000);
  EXPECT_GT(window_.places(), 500);
  placeAfter([&] { find_.next(); });
  EXPECT_LT(window_.rowCount(), 130);
  EXPECT_GE(window_.places(), 2);
}

TEST_F(TranscriptFindTest, LooksForNothingInAConversationThatWasLeft) {
  prompt("A needle.");
  open();
  find_.setText(QStringLiteral("needle"));
  window_.setConversation({});
  workbench_.settle();
  EXPECT_TRUE(find_.status().isEmpty());
  EXPECT_EQ(window_.places(), 0);
  open();
  placeAfter([&] { find_.next(); });
}

TEST_F(TranscriptFindTest, SaysWhatIsNotThere) {
  prompt("Hay.");
  open();
  find_.setText(QStringLiteral("needle"));
  ASSERT_TRUE(until([&] { return find_.isFruitless(); }));
  EXPECT_EQ(find_.status(), QStringLiteral("“needle” is not here."));
  find_.setText({});
  EXPECT_FALSE(find_.isFruitless());
}

TEST_F(TranscriptFindTest, ShowsOneOfTheWordsOfASearchThatStandApart) {
  for (int count = 0; count < 200; ++count) message("Hay.");
  call("one", lines(30, 20, "needles in much straw"));
  const auto item = await(workbench_.application().transcripts().last(conversation_))->id;
  for (int count = 0; count < 200; ++count) message("Hay.");
  open();
  const TranscriptRow& row =
      placeAfter([&] { window_.showWords(item, QStringLiteral("straw needles"), FindDirection::next); });
  EXPECT_EQ(row.kind, RowKind::toolText);
  EXPECT_EQ(window_.markedText(), QStringLiteral("needles"));
}

}  // namespace
}  // namespace ravant::test
