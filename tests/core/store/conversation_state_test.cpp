#include "core/conversation_state.hpp"

#include <gmock/gmock.h>

#include "core/store/draft_store.hpp"
#include "core/store/run_table.hpp"
#include "core/store/schema.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

class State : public testing::Test {
 protected:
  ConversationSummary summary() { return run(store.conversations->conversation(conversation)).value(); }
  ConversationState state() { return stateOf(summary()); }
  void say(const std::string& text) { run(store.items->appendAgentMessage(conversation, "{}", text, {}, {})); }
  void fail() { run(store.items->appendFailureEvent(conversation, "", "The agent run failed")); }
  void look() { run(store.conversations->markSeen(conversation, store.transcript(conversation).back().id)); }
  std::optional<std::string> firstUnread() {
    const auto id = run(store.conversations->firstUnread(conversation));
    return id ? std::optional(run(store.reader->item(*id)).value().text) : std::nullopt;
  }

  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId conversation = store.makeConversation();
};

TEST_F(State, theFirstThatHoldsIsShown) {
  EXPECT_EQ(state(), ConversationState::quiet);
  run(DraftStore::make(store.container)->keep(conversation, "typed"));
  EXPECT_EQ(state(), ConversationState::draft);
  run(store.items->beginRun(conversation));
  run(store.items->appendUserPrompt(conversation, "p", AgentType::claude));
  say("answer");
  EXPECT_EQ(state(), ConversationState::running);
  run(store.items->endRun(conversation, "", PromptOutcome::finished));
  EXPECT_EQ(state(), ConversationState::unread);
  fail();
  EXPECT_EQ(state(), ConversationState::failed);
  look();
  EXPECT_EQ(state(), ConversationState::draft);
  say("more");
  EXPECT_EQ(state(), ConversationState::unread) << "what failed is past";
}

TEST_F(State, countsWhatCameSinceTheLookAndNeverGoesBack) {
  say("1");
  EXPECT_EQ(firstUnread(), "1");
  run(store.items->appendUserPrompt(conversation, "2", AgentType::claude));
  EXPECT_EQ(summary().unread, 0) << "who prompts has looked";
  say("3");
  say("4");
  EXPECT_EQ(summary().unread, 2);
  EXPECT_EQ(firstUnread(), "3");
  const auto items = store.transcript(conversation);
  run(store.conversations->markSeen(conversation, items.at(2).id));
  run(store.conversations->markSeen(conversation, items.at(0).id));
  EXPECT_EQ(firstUnread(), "4");

  const ConversationId other = store.makeConversation(AgentType::pi, "/other");
  run(store.items->appendAgentMessage(other, "{}", "elsewhere", {}, {}));
  run(store.conversations->markSeen(conversation, store.transcript(other).back().id));
  EXPECT_EQ(summary().unread, 1) << "an item of another conversation says nothing of this one";
  EXPECT_EQ(run(store.conversations->conversations({})).size(), 2U);
}

TEST_F(State, aLookIsAnUpdateOfItsConversationOnce) {
  say("1");
  asio::io_context loop;
  const auto subscription = run(store.container->changeFeed()->subscribe(loop.get_executor()), loop);
  look();
  look();
  run(store.container->changeFeed()->flush());
  subscription->end();
  EXPECT_THAT(run(subscription->next(), loop).value().changes,
              testing::ElementsAre(Change{conversation, ChangeOperation::updated, std::nullopt}));
}

TEST_F(State, tellsARunOfAnotherProcessFromOneThatDiedWithIt) {
  {
    OpenStore other(folder.path());
    run(other.items->beginRun(conversation));
    run(other.items->appendUserPrompt(conversation, "p", AgentType::claude));
    EXPECT_EQ(summary().run, (LivingRun{.place = LivingRun::Place::elsewhere, .since = kMorning}));
    EXPECT_EQ(run(other.conversations->conversation(conversation))->run->place, LivingRun::Place::here);
  }
  EXPECT_EQ(summary().run, std::nullopt);
  EXPECT_EQ(state(), ConversationState::interrupted) << "nobody has put it in order yet";
  endInterruptedRuns(store.container);
  EXPECT_EQ(state(), ConversationState::interrupted);
  look();
  EXPECT_EQ(state(), ConversationState::interrupted) << "it stays until something comes after it";
  run(store.items->appendUserPrompt(conversation, "again", AgentType::claude));
  EXPECT_EQ(state(), ConversationState::quiet);
}

void expectExactCounts(ModelContainer& container) {
  auto database = container.connect();
  auto counts = database.prepare(
      "SELECT item_count, (SELECT count(*) FROM conversation_item WHERE conversation_id = conversation.id) "
      "FROM conversation");
  auto row = counts.query();
  while (row.step()) EXPECT_EQ(row.int64(0), row.int64(1));
}

TEST_F(State, whatWasThereBeforeLooksWereKeptIsSeen) {
  const TemporaryFolder old;
  Executors executors;
  const auto open = [&](std::span<const Migration> migrations) {
    return ModelContainer::open({.folder = old.path(),
                                 .work = executors.work(),
                                 .clock = store.clock,
                                 .processes = ProcessLedger::open(old / "processes"),
                                 .migrations = migrations});
  };
  {
    const auto container = open(migrations().first(4));
    container->connect().execute(
        "INSERT INTO project VALUES (1, randomblob(16), '/p', 'p', 0, 1, 0);"
        "INSERT INTO conversation (id, uuid, project_id, created_at, last_activity_at, last_prompt_at, archived) "
        "VALUES (1, randomblob(16), 1, 0, 0, 0, 0), (2, randomblob(16), 1, 0, 0, 0, 0);"
        "INSERT INTO conversation_item (conversation_id, kind, created_at, text, raw_json) VALUES "
        "(1, 'userMessage', 1, 'p', ''), (1, 'failureEvent', 2, 'f', '')");
    run(container->changeFeed()->stop());
  }
  const auto container = open(migrations());
  expectExactCounts(*container);
  container->connect().execute(
      "INSERT INTO conversation_item (conversation_id, kind, created_at, text, raw_json) VALUES "
      "(2, 'userMessage', 1, 'p', ''), (2, 'userMessage', 1, 'p', ''), (1, 'userMessage', 3, 'p', '');"
      "UPDATE conversation SET (seen_item_id, seen_item_at) = (9, 9);"
      "DELETE FROM conversation_item WHERE created_at = 1 AND conversation_id = 1");
  expectExactCounts(*container);
  for (const ConversationSummary& each : run(ConversationModelActor::make(container)->conversations({}))) {
    EXPECT_EQ(stateOf(each), ConversationState::quiet);
  }
  run(container->changeFeed()->stop());
}

}  // namespace
}  // namespace ravant::test
