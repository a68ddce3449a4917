#include "desktop/conversation/place_marks.hpp"

#include <gmock/gmock.h>

#include "desktop/theme/theme.hpp"
#include "tests/desktop/conversation/transcript_window_test.hpp"

namespace ravant::test {
namespace {

using testing::Contains;

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
  await(writer_->beginRun(conversation_));
  prompt("Again.");
  await(writer_->endRun(conversation_, "", PromptOutcome::interrupted));
  await(writer_->appendFailureEvent(conversation_, "{}", "Interrupted: Ravant ended while this ran."));
  ASSERT_TRUE(until([&] { return marks.marks().items == 202; }));
  EXPECT_EQ(marks.lines(404)[201], Kind::interrupted);
  EXPECT_EQ(marks.lines(404)[100], Kind::failure);
}

}  // namespace
}  // namespace ravant::test
