#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sqlite/database.hpp"
#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kReadOnly =
    "data=$RAVANT_DATA_DIR\n"
    "mount --bind \"$data\" \"$data\" && mount -o remount,bind,ro \"$data\" || exit 99\n"
    "! touch \"$data/file\" 2>/dev/null || exit 98\n";

// What is there is moved onto a small disk, and what it leaves free is filled.
constexpr const char* kFullDisk =
    "data=$RAVANT_DATA_DIR\n"
    "rm -rf \"$HOME/saved\"; cp -a \"$data\" \"$HOME/saved\" && mount -t tmpfs -o size=64m none \"$data\" || exit 99\n"
    "cp -a \"$HOME/saved/.\" \"$data\"\n"
    "fill() { cat /dev/zero >>\"$data/fill\" 2>/dev/null; ! echo x >>\"$data/fill\" 2>/dev/null || exit 98; }\n"
    "fill\n";

/// All that reads, each said to have worked.
constexpr const char* kReadAll =
    "ravant conversation list --all && echo listed\n"
    "ravant conversation show \"$CONVERSATION\" && echo shown\n"
    "ravant agent list && echo agents\n"
    "ravant project list && echo projects\n"
    "ravant git status && echo status\n"
    "ravant settings get shell.startSeconds && echo settings\n";

class UnwritableStore : public testing::Test {
 protected:
  void SetUp() override {
    sandbox.addAgent(claude_says::begin() + claude_says::text("The answer is here.") + claude_says::end());
    ASSERT_EQ(sandbox.run({"run", "--agent", "claude", "--title", "Kept", "Question?"}).status, 0);
    conversation = std::string(sandbox.json({"conversation", "list"}).at(0).at("id").as_string());
    sandbox.setVariable("CONVERSATION", conversation);
    const ProgramResult repository = Program({.path = "/usr/bin/git",
                                              .arguments = {"init", "-q", "."},
                                              .environment = {{"HOME", sandbox.home()}},
                                              .workingDirectory = sandbox.project()})
                                         .wait();
    ASSERT_EQ(repository.status, 0) << repository.errors;
  }

  /// False, and the test is skipped, where this machine lets tests mount nothing.
  bool run(const std::string& script) {
    const auto ran = sandbox.runWithMounts(script);
    if (!ran) return false;
    result = *ran;
    EXPECT_NE(result.status, 99) << "the mount failed: " << result.errors;
    EXPECT_NE(result.status, 98) << "it could be written";
    return true;
  }

  void expectAllIsRead() {
    for (const char* words :
         {"Kept", "listed", "The answer is here.", "shown", "claude", "agents", "projects", "status", "settings"}) {
      EXPECT_THAT(result.output, HasSubstr(words)) << result.errors;
    }
    EXPECT_EQ(result.errors, "");
  }

  sqlite::Database store(const std::filesystem::path& folder) {
    return sqlite::Database(folder / "store.sqlite", {.access = sqlite::Access::readWrite});
  }

  Sandbox sandbox;
  std::string conversation;
  ProgramResult result{};
};

constexpr const char* kNoMounts = "this machine lets tests mount nothing";

TEST_F(UnwritableStore, isReadWhereTheFolderIsReadOnly) {
  // A run that was interrupted, by a program that is dead: both can only be put in order later.
  store(sandbox.data())
      .execute(
          "INSERT INTO run (conversation_id, owner, started_at) SELECT id, '00000000-0000-4000-8000-000000000000', 0 "
          "FROM conversation;"
          "DELETE FROM integrity_check");
  std::ofstream(sandbox.data() / "processes/00000000-0000-4000-8000-000000000000") << "";
  if (!run(std::string(kReadOnly) + kReadAll)) GTEST_SKIP() << kNoMounts;
  expectAllIsRead();
  EXPECT_EQ(sandbox.run({"conversation", "show", conversation}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(sandbox.data() / "processes/00000000-0000-4000-8000-000000000000"));
}

TEST_F(UnwritableStore, isReadTogetherWithItsLog) {
  sqlite::Database writer = store(sandbox.data());
  writer.execute("UPDATE conversation SET title = 'Only in the log'");
  // A copy as one is made by hand: the store and its log, without what a program shares with others.
  const auto copy = sandbox.home() / "copy";
  std::filesystem::create_directory(copy);
  for (const char* name : {"store.sqlite", "store.sqlite-wal"})
    std::filesystem::copy(sandbox.data() / name, copy / name);

  for (const auto& folder : {sandbox.data(), copy}) {
    sandbox.setVariable("RAVANT_DATA_DIR", folder);
    if (!run(std::string(kReadOnly) + "ravant conversation list; ravant conversation rename \"$CONVERSATION\" New")) {
      GTEST_SKIP() << kNoMounts;
    }
    EXPECT_THAT(result.output, HasSubstr("Only in the log")) << folder << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("can only be read")) << folder;
  }
}

TEST_F(UnwritableStore, saysWhatCannotBeDone) {
  const std::string commands =
      "ravant conversation rename \"$CONVERSATION\" New; ravant conversation delete --yes \"$CONVERSATION\"\n"
      "ravant run --conversation \"$CONVERSATION\" More; ravant run Again\n";
  if (!run(std::string(kReadOnly) + commands + "ravant doctor | cat; ravant --data-dir \"$data/none\" project list")) {
    GTEST_SKIP() << kNoMounts;
  }
  std::vector<std::string> errors;
  std::istringstream lines(result.errors);
  for (std::string line; std::getline(lines, line);) errors.push_back(line);
  ASSERT_EQ(errors.size(), 5U) << result.errors;
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_THAT(errors[i], HasSubstr("store.sqlite can only be read (")) << i;
    EXPECT_THAT(errors[i], HasSubstr("make room and its folder writable, or choose another data folder")) << i;
  }
  EXPECT_THAT(errors[4], HasSubstr("none: Read-only file system"));
  EXPECT_THAT(result.output, HasSubstr("nothing can be written into " + sandbox.data().string()));
  EXPECT_EQ(sandbox.json({"conversation", "show", conversation}).at("items").as_array().size(), 2U);
}

TEST_F(UnwritableStore, isReadOnAFullDisk) {
  if (!run(std::string(kFullDisk) + kReadAll)) GTEST_SKIP() << kNoMounts;
  expectAllIsRead();
  // One that an older program left behind keeps no room for this.
  if (!run(std::string(kFullDisk) + "rm \"$data/store.reserve\"; fill\n" + kReadAll)) GTEST_SKIP() << kNoMounts;
  expectAllIsRead();
}

TEST_F(UnwritableStore, losesAConversationOnAFullDisk) {
  store(sandbox.data())
      .execute(
          "INSERT INTO conversation_item (conversation_id, kind, created_at, text, raw_json) "
          "SELECT conversation.id, 'agentMessage', 0, hex(randomblob(600)), hex(randomblob(300)) "
          "FROM conversation, (WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000) "
          "SELECT i FROM n)");
  const std::string script =
      std::string(kFullDisk) +
      "ravant conversation list; fill\n"
      "ravant run --conversation \"$CONVERSATION\" \"$(head -c 100000 /dev/zero | tr '\\0' x)\"\n"
      "fill; ravant doctor | grep -A9 ✗\n"
      "fill; ravant conversation delete --yes \"$CONVERSATION\"; echo \"status $?\"; fill\n"
      "ravant conversation list --json --all; rm \"$data/fill\"\n"
      "ravant project list && stat -c '%s of %n' \"$data/store.reserve\"\n";
  if (!run(script)) GTEST_SKIP() << kNoMounts;
  EXPECT_THAT(result.errors, HasSubstr("the disk is full; nothing that was stored is lost; make room and try again"));
  EXPECT_THAT(result.output, HasSubstr("nothing can be written into " + sandbox.data().string() + ": No space left"));
  EXPECT_THAT(result.output, Not(HasSubstr("login shell"))) << "which is not to blame";
  EXPECT_THAT(result.output, HasSubstr("Deleted Kept\nstatus 0\n[]\n")) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("4194304 of ")) << "the room is kept again";
}

}  // namespace
}  // namespace ravant::test
