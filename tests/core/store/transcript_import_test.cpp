#include "core/store/transcript_import.hpp"

#include <gmock/gmock.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <stdexcept>

#include "core/store/search/search_index.hpp"
#include "core/store/search/search_reader.hpp"
#include "core/store/store_error.hpp"
#include "tests/support/appended.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using std::chrono::seconds;

NextImportedItem oneByOne(std::vector<ConversationItem> items) {
  return [items = std::move(items), next = std::size_t{0}]() mutable -> std::optional<ConversationItem> {
    return next < items.size() ? std::optional(items[next++]) : std::nullopt;
  };
}

ConversationItem prompt(std::string text, Timestamp at) {
  return {.rawJSON = {}, .createdAt = at, .text = std::move(text), .detail = UserMessage{}};
}

/// More than one transaction takes.
constexpr std::size_t kPiece = 5 * 1024 * 1024;

/// Pieces of one prompt each; before each but the first one, `between` is called.
NextImportedItem pieceByPiece(int pieces, std::function<void()> between) {
  return [=, next = 0]() mutable -> std::optional<ConversationItem> {
    if (next > 0) between();
    if (next == pieces) return std::nullopt;
    ConversationItem item = prompt(std::to_string(next++) + " of it", kMorning);
    item.rawJSON = std::string(kPiece, '.');  // which no search goes over
    return item;
  };
}

[[noreturn]] void fail() { throw std::runtime_error("cut"); }

std::vector<std::string> texts(const std::vector<ConversationItem>& items) {
  std::vector<std::string> found;
  for (const ConversationItem& item : items) found.push_back(item.text);
  return found;
}

class Import : public testing::Test {
 protected:
  Conversation given() {
    return {.project = project.id,
            .agentResumedSessionId = "session",
            .lastUsedModel = "opus",
            .createdAt = kMorning - seconds(9),
            .lastActivityAt = kMorning - seconds(2),
            .lastPromptAt = kMorning - seconds(5),
            .archived = true,
            .lastUsedTokens = 12,
            .title = "Elsewhere",
            .workItem = WorkItem{.kind = WorkItem::Kind::linearIssue, .name = "ENG-1", .url = "https://x.test/1"}};
  }
  ImportedSession session(std::int64_t byteOffset = 7) {
    return {.agent = AgentType::claude,
            .sessionId = "session",
            .file = "/home/user/session.jsonl",
            .inode = 3,
            .byteOffset = byteOffset,
            .state = "{}"};
  }
  std::optional<std::int64_t> append(const Conversation& after, NextImportedItem next, const ImportedSession& read,
                                     const std::optional<Conversation>& before = std::nullopt) {
    return test::append(*import, after, std::move(next), read, before);
  }
  std::int64_t number(const char* sql) {
    sqlite::Database database = store.container->connect();
    auto statement = database.prepare(sql);
    auto row = statement.query();
    row.step();
    return row.int64(0);
  }
  std::int64_t unseen() {
    return number(
        "SELECT count(*) FROM conversation_item AS item JOIN conversation ON conversation.id = item.conversation_id "
        "WHERE item.id > coalesce(seen_item_id, 0)");
  }

  std::int64_t miscounted() {
    return number(
        "SELECT count(*) FROM conversation WHERE item_count <> (SELECT count(*) FROM conversation_item "
        "WHERE conversation_id = conversation.id)");
  }

  TemporaryFolder folder;
  OpenStore store{folder.path()};
  Project project = run(store.projects->create("/home/user/project", "project"));
  std::shared_ptr<TranscriptImport> import = TranscriptImport::make(store.container);
};

TEST_F(Import, bringsInEverythingAsItWas) {
  const std::vector<ConversationItem> items = {
      {.rawJSON = R"({"a":1})",
       .createdAt = kMorning - seconds(8),
       .text = "do it",
       .detail = UserMessage{.endReason = PromptOutcome::limit, .endedAt = kMorning - seconds(1)}},
      {.rawJSON = "{}",
       .createdAt = kMorning - seconds(7),
       .text = "so",
       .detail = AgentMessage{.agentModel = "opus",
                              .providerMessageId = "m",
                              .inputTokens = 1,
                              .outputTokens = 2,
                              .cacheReadTokens = 3,
                              .cacheCreationTokens = 4,
                              .usedTokens = 5,
                              .totalProcessedTokens = 6,
                              .blocks = {{.text = "so", .language = {}, .index = 0, .kind = MessageBlockKind::prose},
                                         {.text = "x", .language = "c", .index = 2, .kind = MessageBlockKind::code}}}},
      {.rawJSON = "",
       .createdAt = kMorning - seconds(7),
       .text = "",
       .detail = ToolInvocationGroup{{{.rawJSON = "[]",
                                       .text = "Bash",
                                       .createdAt = kMorning - seconds(6),
                                       .toolName = "Bash",
                                       .toolCallId = "c1",
                                       .input = "{}",
                                       .output = "",
                                       .status = ToolInvocationStatus::failed,
                                       .completedAt = kMorning - seconds(5)},
                                      {.rawJSON = "[]",
                                       .text = "",
                                       .createdAt = kMorning - seconds(5),
                                       .toolName = "Read",
                                       .toolCallId = "c2",
                                       .status = ToolInvocationStatus::running}}}},
      {.rawJSON = "", .createdAt = kMorning, .text = "compacted", .detail = CompactionEvent{}},
      {.rawJSON = "", .createdAt = kMorning, .text = "failed", .detail = FailureEvent{}}};
  const auto created = run(import->create(given(), oneByOne(items), session()));
  ASSERT_TRUE(created);
  EXPECT_EQ(created->items, 5);

  Conversation expected = given();
  expected.id = created->conversation;
  EXPECT_EQ(store.conversation(created->conversation), expected);
  std::vector<ConversationItem> found = store.transcript(created->conversation);
  for (ConversationItem& item : found) {
    item.id = {};
    item.conversation = {};
    if (auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
      for (ToolInvocation& call : group->invocations) call.id = {}, call.parentGroup = {};
    }
  }
  EXPECT_EQ(found, items);
  EXPECT_EQ(run(import->knownSession(AgentType::claude, "session")), (KnownSession{created->conversation, session()}));
  EXPECT_EQ(unseen(), 0);
}

TEST_F(Import, addsBehindWhatIsThere) {
  const ConversationId id = run(import->create(given(), oneByOne({prompt("one", kMorning)}), session()))->conversation;
  Conversation later = store.conversation(id);
  later.title = "Renamed";
  later.lastUsedTokens = 99;
  later.lastActivityAt = kMorning + seconds(1);
  EXPECT_EQ(append(later, oneByOne({prompt("two", kMorning - seconds(30)), prompt("three", kMorning + seconds(1))}),
                   session(70), store.conversation(id)),
            2);
  EXPECT_THAT(texts(store.transcript(id)), testing::ElementsAre("one", "two", "three"));
  EXPECT_EQ(store.conversation(id), later);
  EXPECT_EQ(run(import->knownSession(AgentType::claude, "session"))->imported, session(70));
  EXPECT_EQ(unseen(), 0);

  run(store.items->appendAgentMessage(id, "{}", "unread", "opus", {}));
  append(later, oneByOne({prompt("four", kMorning)}), session(80));
  EXPECT_EQ(unseen(), 2) << "what was not looked at before counts as such still";
  EXPECT_EQ(miscounted(), 0);

  run(store.conversations->deleteConversation(id));
  EXPECT_EQ(append(later, oneByOne({prompt("five", kMorning)}), session(90)), std::nullopt);
  EXPECT_EQ(run(import->knownSession(AgentType::claude, "session")), std::nullopt);
}

TEST_F(Import, takesBackNothingThatWasDoneMeanwhile) {
  const ConversationId id = run(import->create(given(), oneByOne({prompt("one", kMorning)}), session()))->conversation;
  SessionGrowth growth{.before = store.conversation(id), .readBefore = session(), .read = session(70)};
  growth.after = growth.before;
  growth.after.title = "The agent's";
  growth.after.lastUsedModel = "older";
  growth.after.lastActivityAt = kMorning;
  run(store.conversations->renameConversation(id, "The user's"));
  run(store.items->appendUserPrompt(id, "here", AgentType::claude));
  const Conversation meanwhile = store.conversation(id);
  EXPECT_EQ(run(import->append(growth, oneByOne({prompt("two", kMorning)}))), 1);
  EXPECT_EQ(store.conversation(id), meanwhile);
  EXPECT_EQ(run(import->append(growth, oneByOne({prompt("two", kMorning)}))), std::nullopt) << "another one was faster";
  EXPECT_EQ(store.transcript(id).size(), 3U);
}

TEST_F(Import, doesNothingForWhatIsThereOrHasNoPlace) {
  const auto none = [&](const Conversation& conversation, std::optional<ImportedSession> imported = {}) {
    return !run(import->create(conversation, oneByOne({prompt("no", kMorning)}), std::move(imported)));
  };
  Conversation first = given();
  first.id = run(import->create(given(), oneByOne({}), session()))->conversation;
  EXPECT_TRUE(none(first)) << "the id is taken";
  EXPECT_TRUE(none(given(), session())) << "the session is held";
  Conversation homeless = given();
  homeless.project = ProjectId(Uuid::random());
  EXPECT_TRUE(none(homeless));

  // A session that was run here is held too, by its agent's type.
  const ConversationId own = store.makeConversation(AgentType::pi);
  run(store.conversations->updateResumedSessionId(own, "own"));
  EXPECT_EQ(run(import->knownSession(AgentType::pi, "own")), (KnownSession{own, std::nullopt}));
  EXPECT_EQ(run(import->knownSession(AgentType::codex, "own")), std::nullopt);
  ImportedSession ran = session();
  ran.agent = AgentType::pi;
  ran.sessionId = "own";
  EXPECT_TRUE(none(given(), ran));
  EXPECT_EQ(number("SELECT count(*) FROM conversation_item"), 0);
}

TEST_F(Import, leavesNothingOfOneThatFails) {
  const auto failing = [next = 0]() mutable -> std::optional<ConversationItem> {
    if (next++ == 3) throw std::runtime_error("line 4");
    return prompt("p", kMorning);
  };
  EXPECT_THROW(run(import->create(given(), failing, session())), std::runtime_error);
  ConversationItem twice = prompt("blocks", kMorning);
  const MessageBlock block{.text = "", .language = {}, .index = 0, .kind = MessageBlockKind::prose};
  twice.detail = AgentMessage{.blocks = {block, block}};
  EXPECT_THROW(run(import->create(given(), oneByOne({prompt("p", kMorning), twice}), session())), StoreError);
  EXPECT_THROW(run(import->create(given(), pieceByPiece(2, fail), session())), std::runtime_error);
  EXPECT_THROW(run(import->createIn({.path = "/new", .projectName = "new"}, given(), pieceByPiece(2, fail))),
               std::runtime_error);
  EXPECT_EQ(number("SELECT (SELECT count(*) FROM conversation) + (SELECT count(*) FROM conversation_item) + "
                   "(SELECT count(*) FROM imported_session) + (SELECT count(*) FROM project WHERE path = '/new')"),
            0);
  EXPECT_TRUE(run(import->create(given(), oneByOne({prompt("p", kMorning)}), session())));
}

TEST_F(Import, isSeenByNobodyBeforeItIsWholeAndKeepsNobodyFromWriting) {
  OpenStore other(folder.path());
  const auto theirImport = TranscriptImport::make(other.container);
  const auto index = SearchIndex::make(other.container);
  const auto search = SearchReader::make(other.container);
  const ConversationId running = other.makeConversation();
  Conversation large = given();
  large.id = ConversationId(Uuid::random());
  int looks = 0;
  const auto look = [&] {
    ++looks;
    while (run(index->takeInSome())) continue;
    run(other.items->appendAgentMessage(running, "{}", "meanwhile", "opus", {}));
    run(other.conversations->renameConversation(large.id, "theirs"));
    EXPECT_EQ(run(other.conversations->conversation(large.id)), std::nullopt);
    EXPECT_EQ(run(other.conversations->conversations({.archived = ArchivedConversations::included})).size(), 1U);
    EXPECT_TRUE(other.transcript(large.id).empty());
    EXPECT_TRUE(run(search->search({.text = "of it"})).hits.empty());
    EXPECT_EQ(run(theirImport->knownSession(AgentType::claude, "session")), std::nullopt);
    EXPECT_EQ(run(theirImport->create(large, oneByOne({}))), std::nullopt) << "the id is taken";
    EXPECT_EQ(run(theirImport->create(given(), oneByOne({}), session())), std::nullopt) << "the session is held";
  };
  const auto created = run(import->create(large, pieceByPiece(3, look), session()));
  EXPECT_EQ(looks, 3);
  ASSERT_TRUE(created);
  EXPECT_EQ(created->items, 3);
  EXPECT_EQ(other.conversation(large.id), large);
  EXPECT_EQ(other.transcript(large.id).size(), 3U);
  EXPECT_EQ(other.transcript(running).size(), 3U);
  EXPECT_EQ(run(search->search({.text = "of it"})).hits.size(), 3U);
  EXPECT_EQ(unseen(), 3) << "those of the other conversation";
  EXPECT_EQ(miscounted(), 0);
}

TEST_F(Import, goesWithItsProject) {
  const auto remove = [&] { run(store.projects->remove(project.id)); };
  EXPECT_EQ(run(import->create(given(), pieceByPiece(2, remove), session())), std::nullopt);
  EXPECT_EQ(number("SELECT count(*) FROM conversation_item"), 0);
}

TEST_F(Import, tellsThatOnlySomeOfWhatIsNewIsStored) {
  const ConversationId id = run(import->create(given(), oneByOne({}), session()))->conversation;
  const Conversation grown = store.conversation(id);
  ImportedSession cut = session();
  cut.inode = ImportedSession::kReadAnew;
  OpenStore other(folder.path());
  const auto theirImport = TranscriptImport::make(other.container);
  const auto lookAndFail = [&] {
    EXPECT_EQ(run(theirImport->knownSession(AgentType::claude, "session"))->imported, cut);
    EXPECT_EQ(test::append(*theirImport, grown, oneByOne({}), session()), std::nullopt);
    fail();
  };
  EXPECT_THROW(append(grown, pieceByPiece(2, lookAndFail), session(70)), std::runtime_error);
  EXPECT_EQ(run(import->knownSession(AgentType::claude, "session"))->imported, cut);
  EXPECT_EQ(append(grown, oneByOne({}), session(70)), 0);
  EXPECT_EQ(run(import->knownSession(AgentType::claude, "session"))->imported, session(70));
}

/// The numbers of conversations and of their items, seen or not.
std::string rowsOf(OpenStore& store) {
  sqlite::Database database = store.container->connect();
  auto statement =
      database.prepare("SELECT (SELECT count(*) FROM conversation) || ' ' || (SELECT count(*) FROM conversation_item)");
  auto row = statement.query();
  row.step();
  return std::string(row.text(0));
}

TEST(InterruptedImport, isRemovedByTheNextOne) {
  TemporaryFolder folder;
  const auto import = [&](OpenStore& store, const std::function<void()>& between) {
    return run(TranscriptImport::make(store.container)
                   ->createIn({.path = "/p", .projectName = "p"},
                              {.id = ConversationId(Uuid::parse("abcdef01-2345-6789-0000-000000000001").value())},
                              pieceByPiece(2, between)));
  };
  const Forked killed([&] {
    OpenStore store(folder.path());
    import(store, [] { ::_exit(0); });
    throw std::runtime_error("was not killed");
  });
  ASSERT_TRUE(killed.succeeds());

  OpenStore store(folder.path());
  EXPECT_EQ(rowsOf(store), "1 1");
  EXPECT_TRUE(run(store.conversations->conversations({})).empty());
  EXPECT_EQ(import(store, [] {})->items, 2);
  EXPECT_EQ(rowsOf(store), "1 2");
}

// A turn is over after the first hundred items, and the one behind it fails.
constexpr const char* kSlow =
    "CREATE TRIGGER slow BEFORE DELETE ON conversation_item BEGIN SELECT count(*) FROM (WITH RECURSIVE n(i) AS "
    "(SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 20000) SELECT i FROM n); END";
constexpr const char* kCut =
    "CREATE TRIGGER cut BEFORE DELETE ON conversation_item WHEN (SELECT count(*) FROM conversation_item) <= 150 "
    "BEGIN SELECT RAISE(ABORT, 'cut'); END";

ConversationId makeLong(OpenStore& store, int items) {
  const ConversationId id = store.makeConversation();
  for (int i = 0; i < items; ++i) run(store.items->appendAgentMessage(id, "{}", "words", "opus", {}));
  return id;
}

TEST(InterruptedRemoval, isGoneAtOnceAndRemovedLater) {
  TemporaryFolder folder;
  const Forked cut([&] {
    OpenStore store(folder.path());
    const ConversationId id = makeLong(store, 250);
    run(store.conversations->updateResumedSessionId(id, "session"));
    store.container->connect().execute(kSlow);
    store.container->connect().execute(kCut);
    run(store.conversations->deleteConversation(id));
  });
  ASSERT_TRUE(cut.succeeds());

  OpenStore store(folder.path());
  store.container->connect().execute("DROP TRIGGER slow");
  store.container->connect().execute("DROP TRIGGER cut");
  EXPECT_EQ(rowsOf(store), "1 150") << "others could write when the first hundred were gone";
  EXPECT_TRUE(run(store.conversations->conversations({.archived = ArchivedConversations::included})).empty());
  EXPECT_EQ(run(TranscriptImport::make(store.container)->knownSession(AgentType::claude, "session")), std::nullopt);
  run(store.conversations->removeLeftovers());
  EXPECT_EQ(rowsOf(store), "0 0");
}

TEST(InterruptedRemoval, leavesAProjectWithoutConversationsThatCanBeRemovedAgain) {
  for (const bool byAnotherDeletion : {false, true}) {
    TemporaryFolder folder;
    const Forked cut([&] {
      OpenStore store(folder.path());
      const ProjectId project = store.conversation(makeLong(store, 100)).project;
      makeLong(store, 150);
      store.container->connect().execute(kSlow);
      store.container->connect().execute(kCut);
      run(store.projects->remove(project));
    });
    ASSERT_FALSE(cut.succeeds()) << "the project is not removed";

    OpenStore store(folder.path());
    store.container->connect().execute("DROP TRIGGER slow");
    store.container->connect().execute("DROP TRIGGER cut");
    EXPECT_EQ(rowsOf(store), "2 150") << "others could write when the first hundred were gone";
    EXPECT_TRUE(run(store.conversations->conversations({.archived = ArchivedConversations::included})).empty());
    const auto projects = run(store.projects->projects());
    ASSERT_EQ(projects.size(), 1U);
    if (byAnotherDeletion) {
      run(store.conversations->deleteConversation(store.makeConversation()));
      EXPECT_EQ(rowsOf(store), "0 0");
    }
    EXPECT_TRUE(run(store.projects->remove(projects[0].id)));
    EXPECT_EQ(rowsOf(store), "0 0");
    EXPECT_TRUE(run(store.projects->projects()).empty());
  }
}

TEST(RemovalOfAProject, letsOthersWriteAndTellsWhatIsGoneWhenItIs) {
  for (const bool isPrompted : {false, true}) {
    TemporaryFolder folder;
    OpenStore store(folder.path());
    const std::vector<ConversationId> ids = {makeLong(store, 100), makeLong(store, 200)};
    const ProjectId project = store.conversation(ids[0]).project;
    store.container->connect().execute(kSlow);

    OpenStore other(folder.path());
    asio::io_context loop;
    const auto changes = run(other.container->changeFeed()->subscribe(loop.get_executor()), loop);
    const auto removed = [](auto... entities) {
      return std::vector<Change>{Change{entities, ChangeOperation::removed, {}}...};
    };
    asio::thread_pool remover(1);
    auto removal = asio::co_spawn(remover, store.projects->remove(project), asio::use_future);
    EXPECT_EQ(run(changes->next(), loop)->changes, removed(ids[0], ids[1]));
    EXPECT_TRUE(run(other.conversations->conversations({})).empty());
    EXPECT_FALSE(run(other.items->beginRun(ids[1])));
    const auto begun = run(other.conversations->createConversation(project, {}));
    ASSERT_TRUE(begun) << "the project is there";
    if (isPrompted) {
      EXPECT_TRUE(run(other.items->beginRun(*begun)));
      EXPECT_THROW(removal.get(), InUseError);
      EXPECT_EQ(rowsOf(other), "1 0");
      run(other.items->endRun(*begun, {}));
      EXPECT_TRUE(run(store.projects->remove(project)));
    } else {
      EXPECT_TRUE(removal.get());
    }
    EXPECT_EQ(rowsOf(other), "0 0");
    EXPECT_TRUE(run(other.projects->projects()).empty());

    run(other.container->changeFeed()->flush());
    changes->end();
    std::vector<Change> last;
    while (const auto batch = run(changes->next(), loop)) last = batch->changes;
    ASSERT_FALSE(last.empty());
    EXPECT_EQ(last.back(), removed(project).front());
  }
}

TEST_F(Import, isOneChangeHoweverMuchComes) {
  asio::io_context loop;
  const auto subscription = run(store.container->changeFeed()->subscribe(loop.get_executor()), loop);
  const auto created = run(import->create(given(), [count = 0]() mutable -> std::optional<ConversationItem> {
    return count++ < 20'000 ? std::optional(prompt("p", kMorning)) : std::nullopt;
  }));
  run(store.container->changeFeed()->flush());
  subscription->end();
  const auto batch = run(subscription->next(), loop);
  ASSERT_TRUE(batch);
  EXPECT_FALSE(batch->isIncomplete);
  EXPECT_THAT(batch->changes, testing::ElementsAre(Change{created->conversation, ChangeOperation::inserted, {}}));
}

}  // namespace
}  // namespace ravant::test
