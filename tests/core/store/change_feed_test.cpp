#include "core/store/change_feed.hpp"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

class Feed : public testing::Test {
 protected:
  std::shared_ptr<ChangeSubscription> subscribe(OpenStore& to) {
    return run(to.container->changeFeed()->subscribe(loop.get_executor()), loop);
  }
  /// Reads on until `change` has come.
  bool announces(ChangeSubscription& subscription, const Change& change) {
    for (;;) {
      const auto batch = run(subscription.next(), loop);
      if (!batch) return false;
      if (std::ranges::find(batch->changes, change) != batch->changes.end()) return true;
    }
  }

  asio::io_context loop;
  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId conversation = store.makeConversation();
};

TEST_F(Feed, announcesWhatWasCommittedInOrder) {
  const auto subscription = subscribe(store);
  run(store.items->appendUserPrompt(conversation, "hello", AgentType::claude));
  run(store.container->changeFeed()->flush());
  subscription->end();

  const ConversationItem item = store.transcript(conversation).at(0);
  const auto batch = run(subscription->next(), loop);
  ASSERT_TRUE(batch);
  EXPECT_THAT(batch->changes, testing::ElementsAre(Change{item.id, ChangeOperation::inserted, conversation},
                                                   Change{conversation, ChangeOperation::updated, std::nullopt}));
  EXPECT_EQ(run(subscription->next(), loop), std::nullopt);
}

TEST_F(Feed, announcesWhatAMessageGrowsByBehindWhatWasCommittedBefore) {
  const auto subscription = subscribe(store);
  run(store.items->appendUserPrompt(conversation, "hello", AgentType::claude));
  run(store.container->changeFeed()->announceGrowth(conversation, {.text = "Hel", .isNewMessage = true}));
  subscription->end();
  const auto batch = run(subscription->next(), loop);
  ASSERT_TRUE(batch);
  ASSERT_EQ(batch->changes.size(), 3U);
  EXPECT_EQ(batch->changes.back(),
            (Change{conversation, ChangeOperation::grew, conversation, Growth{.text = "Hel", .isNewMessage = true}}));
}

TEST_F(Feed, announcesWhatAnotherProcessCommitted) {
  const auto subscription = subscribe(store);
  OpenStore other(folder.path());
  const Project project = run(other.projects->create("/elsewhere", "Elsewhere"));
  EXPECT_TRUE(announces(*subscription, {project.id, ChangeOperation::inserted, std::nullopt}));
  run(other.conversations->deleteConversation(conversation));
  EXPECT_TRUE(announces(*subscription, {conversation, ChangeOperation::removed, std::nullopt}));
}

TEST_F(Feed, tellsALaterObserverWhatRunsDo) {
  const ConversationId over = store.makeConversation(AgentType::pi, "/other");
  ChangeFeed& feed = *store.container->changeFeed();
  const RunState thinking{.kind = RunState::Kind::thinking, .since = kMorning};
  const RunState retrying{.kind = RunState::Kind::retrying, .since = kMorning, .reason = "overloaded"};
  for (const ConversationId& id : {conversation, over}) run(feed.announceState(id, thinking));
  run(feed.announceState(conversation, retrying));
  run(feed.announceRunEnd(over));

  const auto later = subscribe(store);
  run(feed.announceRunEnd(conversation));
  later->end();
  const auto told = run(later->next(), loop);
  ASSERT_TRUE(told);
  EXPECT_THAT(told->changes,
              testing::ElementsAre(Change{conversation, ChangeOperation::went, conversation, {}, retrying},
                                   Change{conversation, ChangeOperation::went, conversation, {}, {}}));

  const auto last = subscribe(store);
  last->end();
  EXPECT_EQ(run(last->next(), loop), std::nullopt);
}

/// Lets nobody open another file.
class NoDescriptors {
 public:
  NoDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const int firstFree = ::dup(0);
    ::close(firstFree);
    const rlimit none{.rlim_cur = static_cast<rlim_t>(firstFree), .rlim_max = before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_{};
};

TEST_F(Feed, looksByItselfWhereTheSystemAnnouncesNothing) {
  OpenStore other(folder.path());
  run(other.projects->create("/first", "First"));
  run(store.container->changeFeed()->flush());  // its files are open from now on
  std::shared_ptr<ChangeSubscription> subscription;
  {
    const NoDescriptors inotifyFails;
    subscription = subscribe(store);
  }
  const Project project = run(other.projects->create("/elsewhere", "Elsewhere"));
  EXPECT_TRUE(announces(*subscription, {project.id, ChangeOperation::inserted, std::nullopt}));
  const Project next = run(other.projects->create("/next", "Next"));
  EXPECT_TRUE(announces(*subscription, {next.id, ChangeOperation::inserted, std::nullopt}));
}

TEST_F(Feed, announcesNothingThatFailed) {
  const auto subscription = subscribe(store);
  run(store.items->appendUserPrompt(ConversationId(Uuid::random()), "lost", AgentType::claude));
  run(store.container->changeFeed()->stop());
  EXPECT_EQ(run(subscription->next(), loop), std::nullopt);
}

TEST_F(Feed, saysWhenAnObserverMissedTooMuch) {
  const auto subscription = subscribe(store);
  sqlite::Database database = store.container->connect();
  database.execute("INSERT INTO change (sequence, entity, operation, id) VALUES (900000, 4, 1, 7)");
  run(store.container->changeFeed()->flush());
  database.execute("DELETE FROM change");
  database.execute("INSERT INTO change (sequence, entity, operation, id) VALUES (990000, 4, 1, 8)");
  run(store.container->changeFeed()->flush());
  const auto batch = run(subscription->next(), loop);
  ASSERT_TRUE(batch);
  EXPECT_TRUE(batch->isIncomplete);
}

TEST_F(Feed, keepsOnlyTheLatestChanges) {
  sqlite::Database database = store.container->connect();
  database.execute("INSERT INTO change (sequence, entity, operation, id) VALUES (102399, 4, 1, 7)");
  run(store.conversations->renameConversation(conversation, "a"));
  auto oldest = database.prepare("SELECT min(sequence) FROM change");
  auto row = oldest.query();
  row.step();
  EXPECT_EQ(row.int64(0), 102399);
}

}  // namespace
}  // namespace ravant::test
