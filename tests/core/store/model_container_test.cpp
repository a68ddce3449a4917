#include "core/store/model_container.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "core/agent_runner_error.hpp"
#include "core/store/run_table.hpp"
#include "core/store/store_error.hpp"
#include "tests/support/store.hpp"
#include "tests/support/transcript_text.hpp"

namespace ravant::test {
namespace {

using testing::HasSubstr;

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

std::string textOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Container : public testing::Test {
 protected:
  std::shared_ptr<ModelContainer> open(std::span<const Migration> steps = migrations()) {
    return ModelContainer::open({.folder = folder / "data",
                                 .work = executors.work(),
                                 .clock = clock,
                                 .processes = processes,
                                 .migrations = steps});
  }
  StoreError::Case errorOf(std::span<const Migration> steps = migrations()) {
    try {
      open(steps);
    } catch (const StoreError& error) {
      words = error.what();
      return error.kind();
    }
    throw std::logic_error("the store opened");
  }

  TemporaryFolder folder;
  Executors executors;
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>(kMorning);
  std::shared_ptr<ProcessLedger> processes = ProcessLedger::open(folder / "processes");
  std::string words;
};

TEST_F(Container, isForItsOwnerAlone) {
  const auto container = open();
  EXPECT_EQ(modeOf(folder / "data"), 0700U);
  for (const auto& file : std::filesystem::directory_iterator(folder / "data")) {
    EXPECT_EQ(modeOf(file.path()), 0600U) << file.path();
  }
}

TEST_F(Container, refusesWhatItCannotRead) {
  std::filesystem::create_directory(folder / "data");
  folder.write("data/store.sqlite", "this is a letter, not a database, and it is long enough to tell");
  EXPECT_EQ(errorOf(), StoreError::Case::notAStore);
  EXPECT_THAT(textOf(folder / "data/store.sqlite"), HasSubstr("a letter"));

  std::filesystem::remove(folder / "data/store.sqlite");
  sqlite::Database(folder / "data/store.sqlite").execute("CREATE TABLE recipes (name)");
  EXPECT_EQ(errorOf(), StoreError::Case::notAStore);

  std::filesystem::remove(folder / "data/store.sqlite");
  std::vector<Migration> newer(migrations().begin(), migrations().end());
  newer.push_back({"CREATE TABLE future (a)"});
  open(newer);
  EXPECT_EQ(errorOf(), StoreError::Case::newerVersion);
  EXPECT_THAT(words, HasSubstr("store version 8, this program knows 7"));
}

TEST_F(Container, refusesADamagedStore) {
  {
    const auto container = open();
    auto database = container->connect();
    database.execute(
        "INSERT INTO project SELECT value, randomblob(16), 'p' || value, hex(randomblob(400)), 0, 1, 0 "
        "FROM json_each('[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20]')");
    database.execute("DELETE FROM integrity_check");
  }
  std::fstream file(folder / "data/store.sqlite", std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(-4096, std::ios::end);
  file << std::string(4096, '\x5a');
  file.close();
  EXPECT_EQ(errorOf(), StoreError::Case::damaged);
}

TEST_F(Container, takesTheChecksTimeOnlyOnceADay) {
  const auto lastCheck = [&] {
    auto database = open()->connect();
    auto statement = database.prepare("SELECT checked_at FROM integrity_check");
    auto row = statement.query();
    return row.step() ? row.int64(0) : 0;
  };
  const std::int64_t first = lastCheck();
  EXPECT_EQ(first, kMorning.time_since_epoch().count());
  clock->advance(std::chrono::hours(23));
  EXPECT_EQ(lastCheck(), first);
  clock->advance(std::chrono::hours(2));
  EXPECT_GT(lastCheck(), first);
}

TEST_F(Container, keepsTheReserveAgainWithTheNextWrite) {
  OpenStore store(folder / "data");
  const auto size = std::filesystem::file_size(folder / "data/store.reserve");
  ASSERT_TRUE(store.container->releaseReserve());
  ASSERT_FALSE(std::filesystem::exists(folder / "data/store.reserve"));
  store.makeConversation();
  EXPECT_EQ(std::filesystem::file_size(folder / "data/store.reserve"), size);
}

TEST_F(Container, isReadWhereWritersCannotBeSeen) {
  ConversationId conversation;
  {
    OpenStore writer(folder / "data");
    conversation = writer.makeConversation();
    run(writer.conversations->renameConversation(conversation, "Title"));
  }
  std::filesystem::create_symlink("nowhere", folder / "data/store.sqlite-shm");  // which SQLite does not follow
  OpenStore reader(folder / "data");
  EXPECT_EQ(reader.conversation(conversation).title, "Title");
  const auto kindOf = [&](const auto& operation) -> std::optional<StoreError::Case> {
    try {
      operation();
      return std::nullopt;
    } catch (const StoreError& error) {
      return error.kind();
    }
  };
  EXPECT_EQ(kindOf([&] { run(reader.conversations->renameConversation(conversation, "New")); }),
            StoreError::Case::readOnly);

  std::filesystem::last_write_time(folder / "data/store.sqlite", std::filesystem::file_time_type::clock::now());
  EXPECT_EQ(kindOf([&] { reader.conversation(conversation); }), StoreError::Case::busy);
}

class Upgrade : public Container {
 protected:
  static constexpr std::array kOld = {
      Migration{"CREATE TABLE note (id INTEGER PRIMARY KEY, text TEXT) STRICT;"
                "CREATE TABLE integrity_check (only_row INTEGER PRIMARY KEY, "
                "checked_at INTEGER);"
                "CREATE TABLE change (sequence INTEGER PRIMARY KEY, entity, "
                "operation, id, conversation)"}};
  static constexpr std::array kNew = {kOld[0], Migration{"ALTER TABLE note ADD COLUMN colour TEXT"}};
  static constexpr std::array kBroken = {kOld[0], Migration{"ALTER TABLE note ADD COLUMN a; SELECT nonsense()"}};

  void SetUp() override {
    auto database = open(kOld)->connect();
    database.execute("INSERT INTO note VALUES (1, 'kept')");
  }
  std::vector<std::filesystem::path> files() {
    std::vector<std::filesystem::path> found;
    for (const auto& file : std::filesystem::directory_iterator(folder / "data"))
      found.push_back(file.path().filename());
    std::ranges::sort(found);
    return found;
  }
};

TEST_F(Upgrade, worksOnACopyAndKeepsThePreviousFile) {
  auto database = open(kNew)->connect();
  auto statement = database.prepare("SELECT text, colour FROM note");
  auto row = statement.query();
  ASSERT_TRUE(row.step());
  EXPECT_EQ(row.text(0), "kept");

  const auto kept = folder / "data/store-version-1-2026-11-21T100000.sqlite";
  ASSERT_TRUE(std::filesystem::exists(kept));
  sqlite::Database previous(kept);
  EXPECT_EQ(previous.userVersion(), 1);
  EXPECT_TRUE(previous.prepare("SELECT 1 FROM note WHERE text = 'kept'").query().step());
  EXPECT_EQ(modeOf(kept), 0600U);
}

TEST_F(Upgrade, leavesTheFileWhenAStepFails) {
  EXPECT_EQ(errorOf(kBroken), StoreError::Case::other);
  EXPECT_TRUE(open(kOld)->connect().prepare("SELECT 1 FROM note WHERE text = 'kept'").query().step());
  open(kNew);  // what the failed attempt left does not stand in the way
}

TEST_F(Upgrade, saysThatTheFileIsAsItWasWhereItCannotBeMade) {
  std::filesystem::create_directories(folder / "data/store.sqlite.upgrading/in the way");
  EXPECT_EQ(errorOf(kNew), StoreError::Case::notUpgraded);
  EXPECT_THAT(words, HasSubstr("could not be upgraded, it is as it was ("));
  EXPECT_TRUE(open(kOld)->connect().prepare("SELECT 1 FROM note WHERE text = 'kept'").query().step());
}

TEST_F(Upgrade, waitsForNobodyElseToUseTheStore) {
  const auto inUse = open(kOld);
  EXPECT_EQ(errorOf(kNew), StoreError::Case::upgradeBlocked);
}

TEST_F(Container, keepsThePromptsOfAnOlderStoreAndEndsTheInterruptedOne) {
  const auto data = folder / "data";
  open(migrations().first(2))
      ->connect()
      .execute(
          "INSERT INTO project VALUES (1, x'000000000000400080000000000000aa', '/p', 'p', 0, 1, 0);"
          "INSERT INTO conversation (id, uuid, project_id, created_at, last_activity_at, last_prompt_at, archived) "
          "VALUES (1, x'000000000000400080000000000000bb', 1, 1, 2, 2, 0);"
          "INSERT INTO conversation_item (id, conversation_id, kind, created_at, text, raw_json) VALUES "
          "(1, 1, 'userMessage', 1, 'First', '{}'), (2, 1, 'agentMessage', 1, 'Answer', '{}'), "
          "(3, 1, 'userMessage', 2, 'Second', '{}'), (4, 1, 'toolInvocationGroup', 2, '', '');"
          "INSERT INTO tool_invocation VALUES (1, 4, 1, 2, NULL, 'running', 'Bash', 'a', 'Bash', NULL, NULL, '{}');"
          "INSERT INTO run VALUES (1, '00000000-0000-4000-8000-000000000000', 2)");
  OpenStore store(data);
  endInterruptedRuns(store.container);

  const ConversationId id = run(store.conversations->conversations({})).at(0).conversation.id;
  const std::vector<ConversationItem> items = store.transcript(id);
  ASSERT_EQ(items.size(), 5U);
  EXPECT_EQ(std::get<UserMessage>(items[0].detail), UserMessage());
  EXPECT_EQ(std::get<UserMessage>(items[2].detail), UserMessage()) << "whose end nobody noted down";
  const std::string text = transcriptText(store, id);
  for (const char* words :
       {"First", "Answer", "Second", "failed Bash a", "failureEvent \"Interrupted: Ravant ended whi"})
    EXPECT_THAT(text, HasSubstr(words));
  run(store.conversations->deleteConversation(id));
}

class Interrupted : public testing::Test {
 protected:
  TemporaryFolder folder;
};

TEST_F(Interrupted, runsOfADeadProcessAreEndedAndNoOthers) {
  OpenStore living(folder.path());
  const ConversationId theirs = living.makeConversation(AgentType::claude, "/theirs");
  ConversationId ours;
  const auto leaveRunning = [](OpenStore& store, ConversationId id) {
    run(store.items->beginRun(id));
    run(store.items->appendToolInvocation(id, "{}", "", "Bash", "1", {}, {}, ToolInvocationStatus::running));
  };
  leaveRunning(living, theirs);
  {
    OpenStore dying(folder.path());
    ours = dying.makeConversation(AgentType::claude, "/ours");
    leaveRunning(dying, ours);
    EXPECT_THROW(run(living.items->beginRun(ours)), AgentRunnerError);
  }
  endInterruptedRuns(living.container);

  EXPECT_THAT(transcriptText(living, theirs), HasSubstr("running Bash 1"));
  const std::string text = transcriptText(living, ours);
  EXPECT_THAT(text, HasSubstr("failed Bash 1"));
  EXPECT_THAT(text, HasSubstr("Interrupted: Ravant ended while this tool was running."));
  EXPECT_THAT(text, HasSubstr("failureEvent \"Interrupted: Ravant ended"));
  endInterruptedRuns(living.container);
  EXPECT_EQ(transcriptText(living, ours), text);
}

TEST_F(Interrupted, runsAreLookedForWithoutTheLockOfWriters) {
  OpenStore store(folder.path());
  run(store.items->beginRun(store.makeConversation()));
  sqlite::Database writer = store.container->connect();
  const sqlite::Transaction held(writer);
  EXPECT_NO_THROW(endInterruptedRuns(store.container));
}

TEST_F(Interrupted, runIsEndedByTheNextPromptToo) {
  OpenStore living(folder.path());
  const ConversationId id = living.makeConversation();
  {
    OpenStore dying(folder.path());
    run(dying.items->beginRun(id));
  }
  run(living.items->beginRun(id));
  EXPECT_THAT(transcriptText(living, id), HasSubstr("failureEvent"));
  run(living.items->endRun(id, ""));
  run(living.items->beginRun(id));
}

}  // namespace
}  // namespace ravant::test
