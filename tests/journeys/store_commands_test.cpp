#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/sqlite/database.hpp"
#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

std::vector<std::string> keysOf(const json::value& object) {
  std::vector<std::string> keys;
  for (const auto& member : object.as_object()) keys.emplace_back(member.key());
  return keys;
}

std::vector<std::string> texts(const json::value& array, std::string_view key) {
  std::vector<std::string> found;
  for (const json::value& element : array.as_array()) found.emplace_back(element.at(key).as_string());
  return found;
}

unsigned modeOf(const std::filesystem::path& path) {
  struct stat status{};
  EXPECT_EQ(::stat(path.c_str(), &status), 0);
  return status.st_mode & 0777u;
}

void expectError(const ProgramResult& result, int status, std::string_view words) {
  EXPECT_EQ(result.status, status);
  EXPECT_THAT(result.output, IsEmpty());
  EXPECT_THAT(result.errors, MatchesRegex("ravant: [^\n]*\n"));
  EXPECT_THAT(result.errors, HasSubstr(words));
}

TEST(FirstStart, MakesAPrivateStoreAndFindsAgents) {
  const Sandbox sandbox;
  std::filesystem::create_directories(sandbox.home() / ".local/bin");
  const std::string program = sandbox.home() / ".local/bin/claude";
  std::filesystem::copy(sandbox.writeAgent(""), program);

  const json::value agents = sandbox.json({"agent", "list"});
  EXPECT_THAT(texts(agents, "typeRaw"), ElementsAre("claude", "ravant"));
  EXPECT_EQ(agents.at(0).at("path").as_string(), program);
  EXPECT_THAT(keysOf(agents.at(0)), ElementsAre("id", "path", "typeRaw", "enabled", "createdAt", "order"));
  EXPECT_EQ(modeOf(sandbox.data()), 0700u);
  EXPECT_EQ(modeOf(sandbox.data() / "store.sqlite"), 0600u);

  const json::value scanned = sandbox.json({"agent", "scan"});
  EXPECT_EQ(scanned, json::value({{{"type", "claude"},
                                   {"displayName", "Claude Code"},
                                   {"path", program},
                                   {"version", "9.9 (fake)"},
                                   {"isNew", false},
                                   {"isMended", false}}}));
}

TEST(ProjectCommands, AddListRenameReorderRemove) {
  const Sandbox sandbox;
  std::filesystem::create_directory(sandbox.project() / "inner");
  std::filesystem::create_directory_symlink(sandbox.project() / "inner", sandbox.project() / "link");
  const json::value outer = sandbox.json({"project", "add", "."});
  const json::value inner = sandbox.json({"project", "add", "link", "--name", "Inside"});
  EXPECT_EQ(inner.at("path").as_string(), std::filesystem::canonical(sandbox.project() / "inner").string());
  EXPECT_EQ(sandbox.json({"project", "add", "inner"}), inner);
  EXPECT_THAT(keysOf(outer), ElementsAre("id", "path", "name", "createdAt", "expandedInSidebar", "sidebarOrder"));

  sandbox.json({"project", "rename", outer.at("path").as_string().c_str(), "Outside"});
  EXPECT_THAT(texts(sandbox.json({"project", "reorder", "Inside"}), "name"), ElementsAre("Inside", "Outside"));

  expectError(sandbox.run({"project", "add", "missing"}), 1, "No such file or directory");
  expectError(sandbox.run({"project", "remove", "Outside"}), 2, "--yes");
  EXPECT_EQ(sandbox.run({"project", "remove", "Outside", "--yes"}).status, 0);
  EXPECT_THAT(texts(sandbox.json({"project", "list"}), "name"), ElementsAre("Inside"));
  EXPECT_TRUE(std::filesystem::exists(sandbox.project()));
}

TEST(ProjectCommands, WordsThatNameNoneOrSeveral) {
  const Sandbox sandbox;
  for (const char* name : {"one", "two"}) {
    std::filesystem::create_directory(sandbox.project() / name);
    sandbox.json({"project", "add", name, "--name", "twin"});
  }
  const ProgramResult ambiguous = sandbox.run({"conversation", "list", "--project", "twin"});
  expectError(ambiguous, 1, "\"twin\" is ambiguous");
  EXPECT_THAT(ambiguous.errors, testing::AllOf(HasSubstr("/one,"), HasSubstr("/two,")));
  expectError(sandbox.run({"project", "rename", "three", "x"}), 1, "there is no project \"three\"; there is twin");
}

TEST(AgentCommands, AScanMendsThePathOfAProgramThatHasMoved) {
  const Sandbox sandbox;
  sandbox.addAgent("");
  const std::filesystem::path moved = sandbox.home() / ".local/bin/claude";
  std::filesystem::create_directories(moved.parent_path());
  std::filesystem::rename(sandbox.writeAgent(""), moved);
  EXPECT_THAT(sandbox.run({"agent", "scan"}).output, HasSubstr("path mended"));
  EXPECT_THAT(sandbox.run({"agent", "list"}).output, HasSubstr(moved.string()));
}

TEST(AgentCommands, AddEnableSetPath) {
  const Sandbox sandbox;
  const std::string program = sandbox.writeAgent("");
  const json::value first = sandbox.json({"agent", "add", "claude", "--path", "../claude"});
  EXPECT_EQ(first.at("path").as_string(), program);
  EXPECT_EQ(sandbox.json({"agent", "add", "claude", "--path", program}), first);
  expectError(sandbox.run({"agent", "set-path", "claude", "./missing"}), 1, "No such file or directory");
  EXPECT_EQ(sandbox.json({"agent", "disable", "claude"}).at("enabled"), false);
  expectError(sandbox.run({"run", "--agent", "claude", "Hello"}), 1, "agent enable claude");
  expectError(sandbox.run({"agent", "enable", "codex"}), 1, "there is no agent \"codex\"; there is ravant");
  EXPECT_THAT(texts(sandbox.json({"agent", "reorder", "claude"}), "typeRaw"), ElementsAre("claude", "ravant"));

  EXPECT_NE(sandbox.json({"agent", "add", "claude", "--path", "/bin/true"}).at("id"), first.at("id"));
  expectError(sandbox.run({"agent", "disable", "claude"}), 1, "\"claude\" is ambiguous");
}

TEST(ModelCommands, AddDisableRefresh) {
  const Sandbox sandbox;
  sandbox.addAgent("");
  const json::value own = sandbox.json({"model", "add", "claude", "my-model", "--name", "Mine"});
  EXPECT_EQ(own.at("displayName"), "Mine");
  EXPECT_EQ(own.at("isCustom"), true);
  const std::string first(sandbox.json({"model", "list", "--agent", "claude"}).at(0).at("slug").as_string());
  EXPECT_EQ(sandbox.json({"model", "disable", "claude", first}).at("enabled"), false);
  expectError(sandbox.run({"model", "enable", "claude", "nonsense"}), 1, "claude has no model \"nonsense\"");

  const json::value refreshed = sandbox.json({"model", "refresh", "claude"});
  EXPECT_EQ(refreshed.at(0).at("enabled"), false);
  EXPECT_EQ(refreshed.as_array().back().at("slug"), "my-model");
}

/// A store with two conversations, the first with a transcript.
class ConversationCommands : public testing::Test {
 protected:
  void SetUp() override {
    sandbox.addAgent(claude_says::begin() + claude_says::text("Hello.\n\n```c\nint x;\n```") +
                     claude_says::toolUse("call-1", "ls") + claude_says::toolResult("call-1", "main.c") +
                     claude_says::end());
    ASSERT_EQ(sandbox.run({"run", "--agent", "claude", "--title", "First", "Hello"}).status, 0);
    ASSERT_EQ(sandbox.run({"run", "--agent", "claude", "--title", "Second", "Hello"}).status, 0);
    const json::value list = sandbox.json({"conversation", "list"});
    ASSERT_THAT(texts(list, "title"), ElementsAre("Second", "First"));
    second = std::string(list.at(0).at("id").as_string());
    first = std::string(list.at(1).at("id").as_string());
  }

  Sandbox sandbox;
  std::string first;
  std::string second;
};

TEST_F(ConversationCommands, ShowHasTheDocumentedForm) {
  const json::value shown = sandbox.json({"conversation", "show", first, "--raw"});
  EXPECT_THAT(keysOf(shown), ElementsAre("conversation", "items"));
  EXPECT_THAT(keysOf(shown.at("conversation")),
              ElementsAre("id", "project", "agent", "agentType", "agentResumedSessionId", "lastUsedModel", "createdAt",
                          "lastActivityAt", "lastPromptAt", "archived", "lastUsedTokens", "lastTotalProcessedTokens",
                          "lastInputTokens", "lastOutputTokens", "lastCacheReadTokens", "lastCacheCreationTokens",
                          "lastUsageUpdatedAt", "lastMaxTokens", "title", "displayTitle", "items", "unread", "state"));
  EXPECT_THAT(texts(shown.at("items"), "kind"), ElementsAre("userMessage", "agentMessage", "toolInvocationGroup"));
  const json::value& message = shown.at("items").at(1);
  EXPECT_THAT(keysOf(message), ElementsAre("id", "kind", "createdAt", "text", "rawJSON", "agentModel",
                                           "providerMessageId", "inputTokens", "outputTokens", "cacheReadTokens",
                                           "cacheCreationTokens", "usedTokens", "totalProcessedTokens", "blocks"));
  EXPECT_EQ(message.at("blocks").at(1),
            json::value({{"index", 1}, {"kind", "code"}, {"language", "c"}, {"text", "int x;"}}));
  EXPECT_THAT(keysOf(shown.at("items").at(2).at("invocations").at(0)),
              ElementsAre("id", "toolName", "toolCallId", "input", "output", "status", "createdAt", "completedAt",
                          "text", "rawJSON"));
  EXPECT_FALSE(sandbox.json({"conversation", "show", first}).at("items").at(0).as_object().contains("rawJSON"));
  EXPECT_EQ(sandbox.json({"conversation", "show", first, "--last", "1"}).at("items").as_array().size(), 1u);
}

TEST_F(ConversationCommands, WhatAPersonHasReadIsNotUnread) {
  const auto isListed = [&](std::string_view state, int unread) {
    const json::value listed = sandbox.json({"conversation", "list"}).at(1);
    return listed.at("state").as_string() == state && listed.at("unread").as_int64() == unread;
  };
  EXPECT_TRUE(isListed("unread", 2)) << "the output of `run` was no terminal";
  EXPECT_THAT(sandbox.run({"conversation", "list"}).output, HasSubstr("  (2 unread) First\n"));
  sandbox.json({"conversation", "show", first});
  EXPECT_TRUE(isListed("unread", 2)) << "a script has not looked";
  sandbox.run({"conversation", "show", first});
  EXPECT_TRUE(isListed("quiet", 0));
  EXPECT_THAT(sandbox.run({"conversation", "list"}).output, HasSubstr("  First\n"));

  const std::vector<std::string> prompt = {"run", "--conversation", first, "Again"};
  EXPECT_EQ(sandbox.start(prompt, {}, ProgramOutput::terminal).wait().status, 0);
  EXPECT_EQ(sandbox.json({"conversation", "show", first}).at("conversation").at("unread"), 0);
  EXPECT_EQ(sandbox.run(prompt).status, 0);
  EXPECT_EQ(sandbox.json({"conversation", "show", first}).at("conversation").at("unread"), 2);
}

TEST_F(ConversationCommands, ListRenameArchiveDelete) {
  EXPECT_EQ(sandbox.json({"conversation", "rename", first.substr(0, 8), "Renamed"}).at("title"), "Renamed");
  EXPECT_EQ(sandbox.json({"conversation", "archive", second}).at("archived"), true);
  EXPECT_THAT(texts(sandbox.json({"conversation", "list"}), "title"), ElementsAre("Renamed"));
  EXPECT_THAT(texts(sandbox.json({"conversation", "list", "--archived"}), "title"), ElementsAre("Second"));
  EXPECT_THAT(sandbox.run({"conversation", "list", "--archived"}).output, HasSubstr("  (archived, 2 unread) Second\n"));
  EXPECT_THAT(texts(sandbox.json({"conversation", "list", "--all", "--limit", "1"}), "title"), ElementsAre("Second"));
  EXPECT_EQ(sandbox.json({"conversation", "unarchive", second}).at("archived"), false);
  expectError(sandbox.run({"conversation", "delete", second}), 2, "--yes");
  EXPECT_EQ(sandbox.run({"conversation", "delete", second, "--yes"}).status, 0);
  expectError(sandbox.run({"conversation", "show", second}), 1, "there is no conversation");
}

TEST_F(ConversationCommands, PrefixesThatNameNoneOrSeveral) {
  sqlite::Database(sandbox.data() / "store.sqlite", {.access = sqlite::Access::readWrite})
      .execute(
          "UPDATE conversation SET uuid = CASE title WHEN 'First' THEN x'ABCDEF012345678900000000000000A1' "
          "ELSE x'ABCDEF012345678900000000000000A2' END");
  const ProgramResult ambiguous = sandbox.run({"conversation", "show", "ABCDEF01-23"});
  expectError(ambiguous, 1, "is ambiguous");
  EXPECT_THAT(ambiguous.errors, testing::AllOf(HasSubstr("(First)"), HasSubstr("(Second)")));
  for (const char* word : {"abcde", "------", "a-b-c-"}) {
    expectError(sandbox.run({"conversation", "delete", "--yes", "--", word}), 1, "at least 6 characters");
  }
  expectError(sandbox.run({"conversation", "show", "fedcba"}), 1, "there is no conversation \"fedcba\"");
  expectError(sandbox.run({"conversation", "show", "______"}), 1, "there is no conversation \"______\"");
}

TEST(Settings, AreSetByTheCommandAndByHand) {
  const Sandbox sandbox;
  EXPECT_EQ(sandbox.run({"settings", "path"}).output, sandbox.settings().string() + "\n");
  EXPECT_EQ(sandbox.run({"settings", "set", "shell.startSeconds", "45"}).status, 0);
  EXPECT_EQ(sandbox.json({"settings", "get", "shell.startSeconds"}), 45);
  expectError(sandbox.run({"settings", "set", "shell.startSeconds", "soon"}), 1, "takes a whole number");
  expectError(sandbox.run({"settings", "get", "nonsense"}), 1, "there is no setting");
  EXPECT_EQ(sandbox.json({"settings", "reset", "shell.startSeconds"}), 30);
}

TEST(Doctor, ReportsEachFindingByItself) {
  const Sandbox sandbox;
  sandbox.addAgent("");
  EXPECT_EQ(sandbox.run({"doctor"}).status, 0) << sandbox.run({"doctor"}).output;

  std::filesystem::create_directories(sandbox.settings().parent_path());
  std::ofstream(sandbox.settings()) << "{ broken";
  std::filesystem::permissions(sandbox.data(), std::filesystem::perms(0755));
  const std::string agent = sandbox.writeAgent("");
  std::filesystem::remove(agent);
  const ProgramResult result = sandbox.run({"doctor", "--json"});
  EXPECT_EQ(result.status, 1);
  const json::value found = parseJson(result.output).value();
  EXPECT_THAT(texts(found.at("problems"), "what"),
              testing::UnorderedElementsAre(StartsWith(sandbox.settings().string() + ", line 1"),
                                            StartsWith("other users may read"), HasSubstr(agent)));
  EXPECT_THAT(keysOf(found), ElementsAre("shell", "searchPath", "agents", "git", "keyStore", "settings", "store",
                                         "processes", "problems"));
  EXPECT_THAT(texts(found.at("agents"), "type"), ElementsAre("codex", "claude", "pi", "cursor"));
  EXPECT_EQ(found.at("store").at("integrity"), "sound");
}

TEST(Doctor, PutsAPreviousStoreInThePlaceOfABrokenOne) {
  Sandbox sandbox;
  const auto project = sandbox.project();
  ASSERT_EQ(sandbox.run({"project", "add", project.string()}).status, 0);
  const std::string kept = "store-version-1-2026-11-20T090000.sqlite";
  std::filesystem::copy_file(sandbox.data() / "store.sqlite", sandbox.data() / kept);
  std::ofstream(sandbox.data() / "store-version-1-2026-11-21T090000.sqlite") << "a letter";
  std::ofstream(sandbox.data() / "store.sqlite") << "this is a letter, not a database, and it is long enough to tell";

  const ProgramResult examined = sandbox.run({"doctor", "--json"});
  EXPECT_EQ(examined.status, 1);
  const json::value found = parseJson(examined.output).value();
  EXPECT_THAT(texts(found.at("store").at("backups"), "madeAt"),
              ElementsAre("2026-11-21T09:00:00.000000Z", "2026-11-20T09:00:00.000000Z"));
  EXPECT_THAT(texts(found.at("problems"), "remedy"),
              testing::Contains(testing::EndsWith("ravant doctor --restore " + kept)));
  EXPECT_THAT(sandbox.run({"doctor"}).output, HasSubstr(kept + ", no fault was found"));

  expectError(sandbox.run({"doctor", "--restore", "store-version-1-2026-11-21T090000.sqlite"}), 1, "as it was");
  const json::value restored = sandbox.json({"doctor", "--restore", kept});
  EXPECT_THAT(texts(sandbox.json({"project", "list"}), "path"), ElementsAre(project.string()));
  std::ifstream before(std::string(restored.at("setAside").as_string()));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(before), {}).substr(0, 16), "this is a letter");
  EXPECT_FALSE(sandbox.run({"doctor"}).output.contains(kept));
}

TEST(Doctor, SaysWhatClaudeCodeNeedsToRunAsRoot) {
  if (::geteuid() != 0) GTEST_SKIP() << "not run as root";
  Sandbox sandbox;
  sandbox.setVariable("IS_SANDBOX", "");
  sandbox.addAgent("printf '%s' \"$IS_SANDBOX\" >\"$HOME/sandbox\"\n" + claude_says::begin() +
                   claude_says::text("Hello.") + claude_says::end());
  const auto told = [&] {
    EXPECT_EQ(sandbox.run({"run", "--agent", "claude", "Hi"}).status, 0);
    std::string value;
    std::ifstream(sandbox.home() / "sandbox") >> value;
    return value;
  };
  EXPECT_EQ(told(), "");
  const ProgramResult before = sandbox.run({"doctor"});
  EXPECT_EQ(before.status, 1);
  EXPECT_THAT(before.output, HasSubstr("ravant settings set claude.asRoot true"));

  EXPECT_EQ(sandbox.run({"settings", "set", "claude.asRoot", "true"}).status, 0);
  EXPECT_EQ(told(), "1");
  EXPECT_EQ(sandbox.run({"doctor"}).status, 0);
}

TEST(Doctor, ShowsWhatGitCommandsGet) {
  const Sandbox sandbox;
  sandbox.addAgent("");
  const auto profile = sandbox.home() / ".bash_profile";
  std::ofstream(profile) << "echo Hello; case $- in *i*) ;; *) PATH=/opt/only-git:$PATH;; esac\n";
  EXPECT_THAT(sandbox.run({"doctor"}).output, testing::ContainsRegex("Search path of git +/opt/only-git:"));
  EXPECT_TRUE(sandbox.json({"doctor"}).at("git").at("searchPath").as_string().starts_with("/opt/only-git:"));
  std::ofstream(profile) << "cd /\n";
  EXPECT_THAT(sandbox.run({"doctor"}).output, HasSubstr("change the folder: git commands would run in /"));
  std::ofstream(profile) << "case $- in *i*) ;; *) exit 0;; esac\n";
  EXPECT_THAT(sandbox.run({"doctor"}).output, HasSubstr("runs no git command: it ended before it ran a command"));
}

TEST(Doctor, WorksWithoutAStore) {
  const Sandbox sandbox;
  std::filesystem::create_directory(sandbox.data());
  std::ofstream(sandbox.data() / "store.sqlite") << "this is no store, whatever it is called";
  expectError(sandbox.run({"project", "list"}), 1, "is not a Ravant store");
  const ProgramResult result = sandbox.run({"doctor"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("is not a Ravant store"));
  EXPECT_THAT(result.output, HasSubstr("git version"));
}

TEST(StandardOutput, ThatIsClosedEndsQuietlyAndOneThatTakesNothingIsAnError) {
  const Sandbox sandbox;
  const ProgramResult closed = sandbox.start({"model", "list"}, {}, ProgramOutput::closedPipe).wait();
  EXPECT_EQ(closed.status, 0);
  EXPECT_THAT(closed.errors, IsEmpty());
  const auto shell = [&](const std::string& command) {
    return Program({.path = "/bin/sh",
                    .arguments = {"-c", "exec " RAVANT_PROGRAM + command},
                    .environment = {{"HOME", sandbox.home()}}})
        .wait();
  };
  const ProgramResult missing = shell(" settings path >&-");
  EXPECT_EQ(missing.status, 1);
  EXPECT_THAT(missing.errors, HasSubstr("standard output could not be written: Bad file descriptor"));
  const ProgramResult full = shell(" settings path >/dev/full");
  EXPECT_EQ(full.status, 1);
  EXPECT_THAT(full.errors, HasSubstr("No space left on device"));
}

}  // namespace
}  // namespace ravant::test
