#include "core/store/search/search_index.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <thread>

#include "core/store/search/search_reader.hpp"
#include "core/store/search/search_upkeep.hpp"
#include "platform/sqlite/transaction.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::SizeIs;

/// So that there is something between them.
constexpr SearchIndexPace kSmallSteps{.entries = 3, .pause = {}};

void takeInAll(const std::shared_ptr<SearchIndex>& index) {
  while (run(index->takeInSome())) {
  }
}

class Index : public testing::Test {
 protected:
  void message(const std::string& text) { run(store.items->appendAgentMessage(id, "{}", text, {}, {})); }
  std::size_t hits(const std::string& text) { return run(reader->search({.text = text})).hits.size(); }

  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId id = store.makeConversation();
  std::shared_ptr<SearchIndex> index = SearchIndex::make(store.container, kSmallSteps);
  std::shared_ptr<SearchReader> reader = SearchReader::make(store.container);
};

TEST_F(Index, ForgetsTheWordsOfWhatWasRemoved) {
  const ConversationId removed =
      run(store.conversations->createConversation(run(store.projects->projects()).front().id, std::nullopt)).value();
  for (int i = 0; i < 20; ++i) message("ordinary");
  for (int i = 0; i < 5; ++i) run(store.items->appendAgentMessage(removed, "{}", "confidential", {}, {}));
  takeInAll(index);
  EXPECT_EQ(hits("confidential"), 5U);
  run(store.conversations->deleteConversation(removed));
  EXPECT_EQ(hits("confidential"), 0U);
  takeInAll(index);
  sqlite::Database database = store.container->connect();
  EXPECT_FALSE(database.prepare("SELECT 1 FROM search_item WHERE search_item MATCH 'confidential'").query().step());
  EXPECT_EQ(hits("ordinary"), 20U);
}

TEST_F(Index, IsNotMadeAnewOfItselfWhereItIsLarge) {
  sqlite::Database database = store.container->connect();
  message("first");
  database.execute("UPDATE sqlite_sequence SET seq = 50000 WHERE name = 'conversation_item'");
  message("second");
  takeInAll(index);
  database.execute("UPDATE search_progress SET removed = 40000 WHERE source = 'item'");
  takeInAll(index);
  EXPECT_EQ(run(index->outdated()), 40'000);
  EXPECT_EQ(hits("first"), 1U);
  run(index->empty());
  takeInAll(index);
  EXPECT_EQ(run(index->outdated()), 0);
  EXPECT_EQ(run(index->entries()), 2);
  EXPECT_EQ(hits("first"), 1U);
}

TEST_F(Index, TakesInACallThatRunsOnlyNowAndThen) {
  run(store.items->appendToolInvocation(id, "{}", "Bash", "Bash", "1", "make", "one", ToolInvocationStatus::running));
  takeInAll(index);
  const auto grow = [&](const char* output) {
    run(store.items->apply(id, {turn::UpdateToolInvocation{.toolCallId = "1", .output = output}}));
  };
  grow("one two three");
  takeInAll(index);
  EXPECT_EQ(hits("three"), 0U);
  EXPECT_EQ(run(index->waiting()), 0);
  takeInAll(SearchIndex::make(store.container, kSmallSteps));
  EXPECT_EQ(run(index->outdated()), 1);
  EXPECT_EQ(hits("three"), 1U);
  run(store.items->completeToolInvocation(id, "1", "four", ToolOutcome::completed));
  takeInAll(index);
  EXPECT_EQ(hits("four"), 1U);
}

TEST_F(Index, FindsWhatAnotherProcessStoresMeanwhile) {
  message("first");
  takeInAll(index);
  OpenStore other(folder.path());
  run(other.items->appendAgentMessage(id, "{}", "second", {}, {}));
  takeInAll(index);
  EXPECT_EQ(hits("second"), 1U);
  const auto otherIndex = SearchIndex::make(other.container, kSmallSteps);
  run(otherIndex->empty());
  takeInAll(index);
  EXPECT_EQ(hits("first"), 1U);
  EXPECT_FALSE(run(otherIndex->takeInSome()));
}

TEST_F(Index, LetsOthersWriteBetweenItsSteps) {
  for (int i = 0; i < 3; ++i) message("text");
  constexpr std::chrono::milliseconds kPause{150};
  const auto slow = SearchIndex::make(store.container, {.entries = 1, .pause = kPause});
  EXPECT_TRUE(run(slow->takeInSome()));
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_TRUE(run(slow->takeInSome()));
  EXPECT_GE(std::chrono::steady_clock::now() - begun, kPause - std::chrono::milliseconds(50));
}

TEST_F(Index, WaitsForNoOtherWriter) {
  message("text");
  sqlite::Database other = store.container->connect();
  const sqlite::Transaction transaction(other);
  const auto begun = std::chrono::steady_clock::now();
  try {
    run(index->takeInSome());
    ADD_FAILURE() << "it wrote";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Case::busy);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(8));
}

TEST_F(Index, IsKeptCurrentUntilItIsStopped) {
  const auto upkeep = SearchUpkeep::make(store.container);
  run(upkeep->start());
  message("first");
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (hits("first") == 0 && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  EXPECT_EQ(hits("first"), 1U);
  message("last");
  run(upkeep->stop());
  EXPECT_EQ(hits("last"), 1U);
  message("later");
  run(upkeep->stop());
  EXPECT_EQ(run(index->waiting()), 1);
}

TEST_F(Index, ThatIsDamagedIsNotTakenForADamagedStore) {
  message("first");
  takeInAll(index);
  store.container->connect().execute("DELETE FROM search_item_data WHERE id = 10");
  message("second");
  for (const auto& use : {std::function([&] { hits("first"); }), std::function([&] { takeInAll(index); })}) {
    try {
      use();
      ADD_FAILURE() << "it was read";
    } catch (const StoreError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr("doctor --rebuild-index"));
    }
  }
}

TEST_F(Index, IsMadeAnewWhateverIsDamagedInIt) {
  std::size_t messages = 0;
  for (const char* damage :
       {"DELETE FROM search_item_data WHERE id = 10", "UPDATE search_item_data SET block = x'00'",
        "DROP TABLE search_item_data", "DROP TABLE search_item_idx", "DROP TABLE search_item_config",
        "UPDATE search_item_config SET v = 99", "DROP TABLE search_item", "DROP TABLE search_invocation_data",
        "DROP TABLE search_week", "DROP TABLE search_progress", "DELETE FROM search_progress",
        "DROP TRIGGER search_item_removed"}) {
    SCOPED_TRACE(damage);
    message("needle");
    takeInAll(index);
    EXPECT_EQ(hits("needle"), ++messages);
    store.container->connect().execute(damage);
    run(SearchIndex::make(store.container, kSmallSteps)->empty());
    takeInAll(index);
    EXPECT_EQ(hits("needle"), messages);
  }
}

struct OlderStore {
  const char* name;
  std::size_t version;
  const char* script;  ///< that leaves it as if all was indexed
};

void PrintTo(const OlderStore& store, std::ostream* out) { *out << store.name; }

class IndexOfAnUpgradedStore : public testing::TestWithParam<OlderStore> {};

TEST_P(IndexOfAnUpgradedStore, TakesInWhatWasThere) {
  const TemporaryFolder folder;
  Executors executors;
  const auto open = [&](std::span<const Migration> steps) {
    return ModelContainer::open({.folder = folder.path(),
                                 .work = executors.work(),
                                 .clock = std::make_shared<ManualClock>(kMorning),
                                 .processes = ProcessLedger::open(folder / "processes"),
                                 .migrations = steps});
  };
  {
    const auto container = open(migrations().first(GetParam().version));
    sqlite::Database database = container->connect();
    database.execute(
        "INSERT INTO project VALUES (1, randomblob(16), '/p', 'p', 0, 1, 0);"
        "INSERT INTO conversation (id, uuid, project_id, created_at, last_activity_at, last_prompt_at, archived) "
        "VALUES (1, randomblob(16), 1, 0, 0, 0, 0);"
        "INSERT INTO conversation_item (conversation_id, kind, created_at, text, raw_json) VALUES "
        "(1, 'userMessage', 1, 'old one', ''), (1, 'userMessage', 2, 'old two', ''), (1, 'userMessage', 3, 'three', "
        "''),"
        "(1, 'userMessage', 4, 'old four', '')");
    database.execute(GetParam().script);
    run(container->changeFeed()->stop());
  }
  const auto container = open(migrations());
  const auto index = SearchIndex::make(container, kSmallSteps);
  EXPECT_EQ(run(index->waiting()), 4);
  EXPECT_TRUE(run(index->takeInSome()));
  const auto reader = SearchReader::make(container);
  EXPECT_THAT(run(reader->search({.text = "old"})).hits, SizeIs(2));
  takeInAll(index);
  EXPECT_THAT(run(reader->search({.text = "old"})).hits, SizeIs(3));
  run(container->changeFeed()->stop());
}

INSTANTIATE_TEST_SUITE_P(Of, IndexOfAnUpgradedStore,
                         testing::Values(OlderStore{"noIndex", 5, ""},
                                         OlderStore{"otherLetters", 6,
                                                    "UPDATE search_progress SET above = 0, up_to = 4"}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace ravant::test
