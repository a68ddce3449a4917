#include <gmock/gmock.h>

#include "platform/sqlite/database.hpp"
#include "tests/desktop/conversation/transcript_window_test.hpp"

namespace ravant::test {
namespace {

using desktop::RowKind;
using desktop::TranscriptWindow;
using testing::Contains;
using testing::ElementsAre;

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

TEST_F(TranscriptWindowTest, SaysNothingWhereWhatIsSeenCannotBeStored) {
  prompt("First.");
  message("Answer.");
  sqlite::Database other = workbench_.application().modelContainer()->connect();
  other.execute("CREATE TRIGGER refusal BEFORE UPDATE ON conversation BEGIN SELECT RAISE(ABORT, 'refused'); END");
  TranscriptWindow window;
  open(window);
  window.setLookedAt(true);
  EXPECT_FALSE(until([&] { return !window.trouble().isEmpty(); }, 3 * TranscriptWindow::kSeenInterval));
  EXPECT_TRUE(window.isSettled());
  other.execute("DROP TRIGGER refusal");
  window.setLookedAt(false);
  window.setLookedAt(true);
  EXPECT_TRUE(
      until([&] { return await(workbench_.application().conversations().conversation(conversation_))->unread == 0; }));
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

}  // namespace
}  // namespace ravant::test
