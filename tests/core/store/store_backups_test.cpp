#include "core/store/store_backups.hpp"

#include <gmock/gmock.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <map>

#include "core/store/store_error.hpp"
#include "core/store/store_lock.hpp"
#include "platform/sqlite/database.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Files = std::map<std::string, std::string>;

std::string textOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// What a folder's files hold, by their names; without those that are there for locking alone.
Files filesIn(const std::filesystem::path& folder) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    if (name != "store.lock") files[name] = entry.is_regular_file() ? textOf(entry.path()) : "";
  }
  return files;
}

class StoreBackups : public testing::Test {
 protected:
  static constexpr const char* kBackup = "store-version-1-2026-11-20T090000.sqlite";
  static constexpr const char* kSetAside = "store-before-restore-2026-11-21T100000.sqlite";
  static constexpr std::array kSteps = {Migration{"CREATE TABLE note (text TEXT)"},
                                        Migration{"CREATE TABLE later (text TEXT)"}};

  void SetUp() override { std::filesystem::create_directory(data); }

  sqlite::Database makeStore(const std::string& name, const std::string& note, int version = 1,
                             int application = kApplicationId) {
    sqlite::Database database(data / name);
    database.useWriteAheadLog();
    database.execute(kSteps[0].script.data());
    for (int row = 0; row < 200; ++row) database.prepare("INSERT INTO note VALUES (?)").run(note);
    database.setUserVersion(version);
    database.setApplicationId(application);
    return database;
  }

  /// A store whose file is no longer one, with a log that is.
  void makeBrokenStore() {
    {
      const sqlite::Database open = makeStore("made.sqlite", "broken");
      for (const char* ending : {"", "-wal", "-shm"}) {
        std::filesystem::copy_file(data / (std::string("made.sqlite") + ending),
                                   data / (std::string("store.sqlite") + ending));
      }
    }
    std::filesystem::remove(data / "made.sqlite");
    std::ofstream(data / "store.sqlite", std::ios::binary) << std::string(8192, '\x5a');
    ASSERT_GT(std::filesystem::file_size(data / "store.sqlite-wal"), 0U);
  }

  void damage(const std::string& name) {
    std::fstream file(data / name, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096);
    file << std::string(4096, '\x5a');
  }

  RestoredStore restore(const std::string& name = kBackup) {
    return restoreFromBackup(data, data / name, kMorning, kSteps);
  }
  std::string refusal(const std::string& name = kBackup) {
    try {
      restore(name);
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Case::notRestored);
      return error.what();
    }
    return "it was restored";
  }

  /// What the store holds, as whoever opens it sees it.
  std::string noteInStore() {
    sqlite::Database database(data / "store.sqlite", {.access = sqlite::Access::readWrite});
    EXPECT_EQ(database.integrityCheck(std::chrono::minutes(1)).verdict, sqlite::CheckResult::Verdict::sound);
    auto statement = database.prepare("SELECT DISTINCT text FROM note");
    auto query = statement.query();
    return std::string(query.step() ? query.text(0) : "");
  }

  TemporaryFolder folder;
  std::filesystem::path data = folder / "data";
};

TEST_F(StoreBackups, areThoseThatUpgradesKept) {
  makeStore(kBackup, "oldest");
  makeStore("store-version-2-2026-11-21T090000.sqlite", "newest", 2);
  makeStore("store-version-3-2026-11-20T090001.sqlite", "of a newer program", 3);
  makeStore("store-version-1-2026-11-20T080000.sqlite", "another program's", 1, 7);
  makeStore("store-version-1-2026-11-20T070000.sqlite", "damaged");
  damage("store-version-1-2026-11-20T070000.sqlite");
  folder.write("data/store-version-1-2026-11-20T060000.sqlite", "a letter");
  for (const char* other : {"store-version-1-2026-11-20.sqlite", "store-version--2026-11-20T090000.sqlite",
                            "store-version-1-2026-13-20T090000.sqlite", "store-version-1-2026-11-20T090000.sqlite-wal",
                            "notes-version-1-2026-11-20T090000.sqlite"}) {
    folder.write(std::string("data/") + other, "");
  }
  std::filesystem::create_directory(data / "store-version-1-2026-11-20T050000.sqlite");
  const Files before = filesIn(data);

  std::vector<std::string> told;
  for (const StoreBackup& backup : storeBackups(data, std::chrono::seconds(10), kSteps)) {
    told.push_back(fmt::format("{} {} {}", backup.version, iso8601(backup.madeAt).substr(8, 8),
                               backup.fault.value_or("good").substr(0, 24)));
  }
  EXPECT_THAT(told, ElementsAre("2 21T09:00 good", "3 20T09:00 it was written by a newe", "1 20T09:00 good",
                                "1 20T08:00 it is no Ravant store", "1 20T07:00 it is damaged (database ",
                                "1 20T06:00 it cannot be read (file "));
  EXPECT_EQ(filesIn(data), before) << "looking changes nothing";
  EXPECT_TRUE(storeBackups(folder / "none").empty());
}

TEST_F(StoreBackups, takeThePlaceOfAStoreThatKeepsItsFiles) {
  makeStore(kBackup, "kept");
  makeBrokenStore();
  Files expected = filesIn(data);
  for (const char* ending : {"", "-wal", "-shm"}) {
    auto moved = expected.extract(std::string("store.sqlite") + ending);
    moved.key() = std::string(kSetAside) + ending;
    expected.insert(std::move(moved));
  }

  EXPECT_EQ(restore().setAside, data / kSetAside);
  Files present = filesIn(data);
  present.erase("store.sqlite");
  EXPECT_EQ(present, expected);
  EXPECT_EQ(noteInStore(), "kept");
  EXPECT_EQ(std::filesystem::status(data / "store.sqlite").permissions(), std::filesystem::perms(0600));

  sqlite::Database(data / "store.sqlite").execute("UPDATE note SET text = 'went on'");
  EXPECT_EQ(restore().setAside, data / "store-before-restore-2026-11-21T100000-2.sqlite");
  EXPECT_EQ(noteInStore(), "kept");
  EXPECT_EQ(restore("store-before-restore-2026-11-21T100000-2.sqlite").setAside,
            data / "store-before-restore-2026-11-21T100000-3.sqlite");
  EXPECT_EQ(noteInStore(), "went on");

  std::filesystem::remove(data / "store.sqlite");
  EXPECT_EQ(restore().setAside, std::nullopt);
  EXPECT_EQ(noteInStore(), "kept");
}

TEST_F(StoreBackups, areReadWithTheirLog) {
  const sqlite::Database open = makeStore("open.sqlite", "in the log");
  for (const char* ending : {"", "-wal"}) {
    std::filesystem::copy_file(data / (std::string("open.sqlite") + ending), data / (std::string("copy") + ending));
  }
  restore("copy");
  EXPECT_EQ(noteInStore(), "in the log");
}

TEST_F(StoreBackups, areRefusedWhereNothingCouldBeMadeOfThem) {
  makeBrokenStore();
  makeStore(kBackup, "damaged");
  damage(kBackup);
  makeStore("newer", "newer", 3);
  makeStore("other", "other", 1, 7);
  std::filesystem::create_directory(data / "folder");
  const Files before = filesIn(data);
  EXPECT_THAT(refusal(), HasSubstr(std::string("nothing was restored, ") + (data / "store.sqlite").string() +
                                   " is as it was: " + (data / kBackup).string() + ": it is damaged"));
  EXPECT_THAT(refusal("newer"), HasSubstr("newer Ravant (store version 3, this program knows 2)"));
  EXPECT_THAT(refusal("other"), HasSubstr("it is no Ravant store"));
  EXPECT_THAT(refusal("folder"), HasSubstr("there is no such file"));
  EXPECT_THAT(refusal("none"), HasSubstr("there is no such file"));
  EXPECT_THAT(refusal("store.sqlite"), HasSubstr("is the store itself"));
  EXPECT_EQ(filesIn(data), before);
}

TEST_F(StoreBackups, leaveAStoreAloneThatAnotherProcessHasOpen) {
  makeStore("store.sqlite", "open");
  makeStore(kBackup, "kept");
  const Files before = filesIn(data);
  {
    StoreLock other(data / "store.lock");
    ASSERT_TRUE(other.share(std::chrono::seconds(1)));
    EXPECT_THAT(refusal(), HasSubstr("another Ravant is using it"));
    EXPECT_EQ(filesIn(data), before);
  }
  restore();
  EXPECT_EQ(noteInStore(), "kept");
}

TEST_F(StoreBackups, leaveEverythingWhereAStepFails) {
  makeStore(kBackup, "kept");
  makeBrokenStore();
  std::filesystem::create_directories(data / "store.sqlite-journal/in the way");
  const Files before = filesIn(data);
  EXPECT_THAT(refusal(), HasSubstr("nothing was restored"));
  EXPECT_EQ(filesIn(data), before);
}

/// Runs a function in another process, which is killed before the call of the system with that number that changes the
/// names of files; says whether it came to so many.
template <class Function>
bool isKilledBeforeChange(int number, Function function) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(2);
    ::raise(SIGSTOP);
    function();
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD);
  while (WIFSTOPPED(status)) {
    __ptrace_syscall_info call{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof(call), &call);
    const auto isOneOf = [&](auto... numbers) {
      return ((call.entry.nr == static_cast<std::uint64_t>(numbers)) || ...);
    };
    const bool isChange =
        call.op == PTRACE_SYSCALL_INFO_ENTRY &&
        isOneOf(SYS_link, SYS_linkat, SYS_unlink, SYS_unlinkat, SYS_rename, SYS_renameat, SYS_renameat2);
    if (isChange && number-- == 0) {
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      return true;
    }
    ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    ::waitpid(child, &status, 0);
  }
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  return false;
}

TEST_F(StoreBackups, loseNothingWhereverTheProcessIsKilled) {
  makeStore(kBackup, "kept");
  makeBrokenStore();
  const Files start = filesIn(data);
  int change = 0;
  for (bool isKilled = true; isKilled; ++change) {
    SCOPED_TRACE(change);
    std::filesystem::remove_all(data);
    std::filesystem::create_directory(data);
    for (const auto& [name, text] : start) folder.write("data/" + name, text);
    isKilled = isKilledBeforeChange(change, [&] { restore(); });

    const Files left = filesIn(data);
    EXPECT_EQ(left.at(kBackup), start.at(kBackup));
    const bool isPrevious = left.at("store.sqlite") == start.at("store.sqlite");
    const bool isSetAside = left.contains(kSetAside) && left.contains(std::string(kSetAside) + "-wal");
    for (const char* ending : {"", "-wal"}) {
      const std::string place = (isSetAside ? kSetAside : "store.sqlite") + std::string(ending);
      ASSERT_TRUE(left.contains(place)) << place;
      EXPECT_EQ(left.at(place), start.at(std::string("store.sqlite") + ending));
    }
    EXPECT_TRUE(isPrevious || !left.contains("store.sqlite-wal")) << "the log of another store";
    if (!isPrevious) EXPECT_EQ(noteInStore(), "kept");

    restore();
    EXPECT_EQ(noteInStore(), "kept");
    const Files restored = filesIn(data);
    for (const auto& [name, text] : left) {
      const bool isKept = name.starts_with("store.sqlite") || (restored.contains(name) && restored.at(name) == text);
      EXPECT_TRUE(isKept) << name;
    }
  }
  EXPECT_GT(change, 7);
}

}  // namespace
}  // namespace ravant::test
