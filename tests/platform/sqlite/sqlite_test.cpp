#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "platform/sqlite/transaction.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::sqlite {
namespace {

using std::chrono_literals::operator""ms;
using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::IsEmpty;
using Case = Error::Case;

Case caseOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.reason();
  }
  throw std::logic_error("no error");
}

class SqliteTest : public testing::Test {
 protected:
  SqliteTest() { database_.execute("CREATE TABLE item (id INTEGER PRIMARY KEY, text TEXT UNIQUE) STRICT"); }

  Database open(OpenOptions options = {.busyTimeout = 0ms}) { return Database(path_, options); }

  void insert(Database& database, std::int64_t id, std::string_view text) {
    database.prepare("INSERT INTO item VALUES (?, ?)").run(id, text);
  }

  std::vector<std::string> texts(Database& database) {
    Statement statement = database.prepare("SELECT text FROM item ORDER BY id");
    std::vector<std::string> all;
    for (Query query = statement.query(); query.step();) all.emplace_back(query.text(0));
    return all;
  }

  test::TemporaryFolder folder_;
  std::filesystem::path path_ = folder_ / "store.sqlite";
  Database database_{path_, {.busyTimeout = 0ms}};
};

TEST_F(SqliteTest, anUnchangingDatabaseIsReadWithoutAnythingBesideIt) {
  const std::filesystem::path odd = folder_ / "50% of #1? file:x.sqlite";
  {
    Database database(odd);
    database.useWriteAheadLog();
    database.execute("CREATE TABLE item (id INTEGER PRIMARY KEY, text TEXT); INSERT INTO item VALUES (1, 'kept')");
  }
  Database unchanging(odd, {.access = Access::readUnchanging});
  EXPECT_THAT(texts(unchanging), testing::ElementsAre("kept"));
  EXPECT_TRUE(unchanging.isReadOnly());
  EXPECT_FALSE(std::filesystem::exists(odd.string() + "-shm"));
  EXPECT_EQ(caseOf([&] { insert(unchanging, 2, "more"); }), Case::readOnly);
}

TEST_F(SqliteTest, whatIsTooLargeIsRefusedWithTheLimit) {
  Database small = open({.largestRow = 1000});
  try {
    insert(small, 1, std::string(1001, 'x'));
    ADD_FAILURE() << "it was stored";
  } catch (const Error& error) {
    EXPECT_EQ(error.reason(), Case::tooLarge);
    EXPECT_THAT(error.what(), HasSubstr("the limit is 1000 bytes"));
  }
}

TEST_F(SqliteTest, valuesComeBackAsTheyWere) {
  database_.execute("CREATE TABLE v (i, negative, yes, r, t, emptyText, b, emptyBlob, none, absent)");
  const std::array bytes{std::byte{0}, std::byte{255}};
  database_.prepare("INSERT INTO v VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .run(std::numeric_limits<std::int64_t>::max(), -1, true, 0.1, "a\0é"s, std::string_view(), bytes, Blob(), nullptr,
           std::optional<std::string>());
  Statement statement = database_.prepare("SELECT * FROM v");
  Query row = statement.query();
  ASSERT_TRUE(row.step());
  EXPECT_EQ(row.int64(0), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(row.int64(1), -1);
  EXPECT_EQ(row.optionalBoolean(2), true);
  EXPECT_EQ(row.optionalReal(3), 0.1);
  EXPECT_EQ(row.text(4), "a\0é"s);
  EXPECT_EQ(row.optionalText(5), "");
  EXPECT_TRUE(std::ranges::equal(row.blob(6), bytes));
  EXPECT_FALSE(row.isNull(7));
  EXPECT_TRUE(row.blob(7).empty());
  EXPECT_EQ(row.optionalInt64(8), std::nullopt);
  EXPECT_EQ(row.optionalText(9), std::nullopt);
  EXPECT_EQ(row.text(9), "");
  EXPECT_FALSE(row.step());
}

TEST_F(SqliteTest, aQueryKeepsItsValuesAndFreesItsStatement) {
  insert(database_, 1, "one");
  insert(database_, 2, "two");
  Statement statement = database_.prepare("SELECT id FROM item WHERE text = ?");
  for (const auto& [text, id] : {std::pair("one", 1), std::pair("two", 2)}) {
    Query query = statement.query(std::string(text));
    ASSERT_TRUE(query.step());
    EXPECT_EQ(query.int64(0), id);
    EXPECT_EQ(caseOf([&] { statement.run("one"); }), Case::other) << "in use";
  }
  EXPECT_EQ(caseOf([&] { statement.run(); }), Case::other) << "a value is missing";
}

TEST_F(SqliteTest, anExceptionUndoesTheTransaction) {
  insert(database_, 1, "before");
  EXPECT_THROW(
      {
        const Transaction transaction(database_);
        insert(database_, 2, "undone");
        throw std::runtime_error("x");
      },
      std::runtime_error);
  EXPECT_FALSE(database_.isInTransaction());
  Transaction transaction(database_);
  insert(database_, 3, "after");
  transaction.commit();
  EXPECT_EQ(texts(database_), (std::vector<std::string>{"before", "after"}));
}

TEST_F(SqliteTest, aSecondWriterIsBusyAtItsStart) {
  database_.useWriteAheadLog();
  Database other = open();
  Transaction first(database_);
  EXPECT_EQ(caseOf([&] { Transaction second(other); }), Case::busy);
  const Transaction reader(other, Transaction::Kind::read);
  insert(database_, 1, "one");
  EXPECT_TRUE(texts(other).empty());
  first.commit();
  EXPECT_TRUE(texts(other).empty()) << "one state throughout";
}

TEST_F(SqliteTest, dataVersionTellsOfOthersOnly) {
  Database other = open();
  const auto before = database_.dataVersion();
  insert(database_, 1, "own");
  EXPECT_EQ(database_.dataVersion(), before);
  insert(other, 2, "theirs");
  EXPECT_NE(database_.dataVersion(), before);
}

TEST_F(SqliteTest, aFullDatabaseLosesOnlyTheTransaction) {
  insert(database_, 1, "before");
  database_.execute("PRAGMA max_page_count = 4");
  EXPECT_EQ(caseOf([&] {
              Transaction transaction(database_);
              insert(database_, 2, "undone");
              insert(database_, 3, std::string(20'000, 'x'));
            }),
            Case::full);
  EXPECT_EQ(texts(database_), std::vector<std::string>{"before"});
}

TEST_F(SqliteTest, namesWhatWasRefused) {
  database_.execute("CREATE TABLE part (item INTEGER REFERENCES item) STRICT");
  insert(database_, 1, "one");
  Database reader = open({.access = Access::readOnly});
  EXPECT_EQ(texts(reader), std::vector<std::string>{"one"});
  EXPECT_EQ(caseOf([&] { insert(reader, 2, "two"); }), Case::readOnly);
  EXPECT_EQ(caseOf([&] { insert(database_, 2, "one"); }), Case::constraint);
  EXPECT_EQ(caseOf([&] { database_.execute("INSERT INTO part VALUES (99)"); }), Case::constraint);
  EXPECT_EQ(caseOf([&] { database_.prepare("SELEC").run(); }), Case::other);

  database_.setForeignKeys(ForeignKeys::ignored);
  database_.execute("INSERT INTO part VALUES (99)");
}

TEST_F(SqliteTest, leavesRowRulesToTheWriterForAsLongAsItIsTold) {
  database_.execute(
      "CREATE TABLE part (kind TEXT CHECK (kind IN ('a', 'b', 'c'))) STRICT;"
      "CREATE TRIGGER counted AFTER INSERT ON part BEGIN INSERT INTO item VALUES (1, 'counted'); END");
  Statement insertPart = database_.prepare("INSERT INTO part VALUES (?)");
  EXPECT_EQ(caseOf([&] { insertPart.run("d"); }), Case::constraint);
  {
    Transaction transaction(database_);
    database_.setRowRules(RowRules::leftToWriter);
    insertPart.run("d");
    EXPECT_THAT(texts(database_), IsEmpty());
    database_.setRowRules(RowRules::applied);
    EXPECT_EQ(caseOf([&] { insertPart.run("d"); }), Case::constraint);
    insertPart.run("a");
    transaction.commit();
  }
  EXPECT_EQ(texts(database_), std::vector<std::string>{"counted"});
}

TEST_F(SqliteTest, namesWhatCannotBeOpened) {
  const auto text = folder_.write("text.sqlite", std::string(5000, 'x'));
  EXPECT_EQ(caseOf([&] { Database(text).userVersion(); }), Case::notADatabase);
  EXPECT_EQ(caseOf([&] { Database(folder_ / "absent", {.access = Access::readWrite}); }), Case::cannotOpen);
  try {
    Database database(folder_ / "absent/store.sqlite");
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.reason(), Case::cannotOpen);
    EXPECT_THAT(error.what(), HasSubstr("No such file or directory"));
  }
}

TEST_F(SqliteTest, aPathIsNeverAUri) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  Database("file:odd?mode=memory").execute("CREATE TABLE t (x)");
  std::filesystem::current_path(before);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "file:odd?mode=memory"));
}

TEST_F(SqliteTest, keepsItsSettings) {
  struct stat status;
  ASSERT_EQ(::stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);

  const auto read = [&](std::string_view pragma) {
    Statement statement = database_.prepare(pragma);
    Query query = statement.query();
    query.step();
    return query.int64(0);
  };
  database_.useWriteAheadLog();
  database_.setSynchronous(Synchronous::normal);
  EXPECT_EQ(read("PRAGMA synchronous"), 1);
  database_.setSynchronous(Synchronous::full);
  EXPECT_EQ(read("PRAGMA synchronous"), 2);
  EXPECT_EQ(read("PRAGMA secure_delete"), 2);

  database_.setUserVersion(-7);
  database_.setApplicationId(0x52415654);
  EXPECT_EQ(open().userVersion(), -7);
  EXPECT_EQ(open().applicationId(), 0x52415654);
}

TEST_F(SqliteTest, countsWhatAStatementDid) {
  insert(database_, 41, "a");
  insert(database_, 42, "b");
  EXPECT_EQ(database_.lastInsertRowId(), 42);
  database_.execute("UPDATE item SET text = text || 'x'");
  EXPECT_EQ(database_.changes(), 2);
}

TEST_F(SqliteTest, aBackupIsWhole) {
  database_.useWriteAheadLog();
  insert(database_, 1, "one");
  database_.backupTo(folder_ / "copy.sqlite");
  insert(database_, 2, "later");
  Database copy(folder_ / "copy.sqlite");
  EXPECT_EQ(texts(copy), std::vector<std::string>{"one"});
  EXPECT_EQ(copy.integrityCheck(10'000ms).verdict, CheckResult::Verdict::sound);
  EXPECT_EQ(caseOf([&] { database_.backupTo(folder_ / "absent/copy.sqlite"); }), Case::cannotOpen);
}

TEST_F(SqliteTest, checksFindDamageOrRunOutOfTime) {
  using Verdict = CheckResult::Verdict;
  {
    Transaction transaction(database_);
    for (int i = 0; i < 20'000; ++i) insert(database_, i, std::to_string(i) + std::string(200, 'x'));
    transaction.commit();
  }
  EXPECT_EQ(database_.quickCheck(60'000ms).verdict, Verdict::sound);
  EXPECT_EQ(database_.integrityCheck(0ms).verdict, Verdict::notFinished);
  EXPECT_EQ(database_.integrityCheck(60'000ms).verdict, Verdict::sound) << "an interrupted check leaves nothing behind";

  const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path_));
  std::fstream(path_, std::ios::in | std::ios::out | std::ios::binary).seekp(size / 2) << std::string(20'000, '\xAA');
  const auto result = open().quickCheck(60'000ms);
  EXPECT_EQ(result.verdict, Verdict::faulty);
  EXPECT_FALSE(result.words.empty());
}

}  // namespace
}  // namespace ravant::sqlite
