#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/journeys/sandbox.hpp"
#include "tests/runners/session_lines.hpp"

namespace ravant::test {
namespace {

using namespace session_lines;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// A session of Claude Code in its own folder, with a turn of two messages in the project.
std::filesystem::path writeSession(const Sandbox& sandbox) {
  std::vector<std::string> lines = {claudePrompt("u1", "", "Begun in a terminal"),
                                    claudeReply("r1", "u1", "m1", R"({"type":"text","text":"Gladly."})")};
  for (std::string& line : lines) line.replace(line.find("/p\""), 2, sandbox.project().string());
  writeSessions(sandbox.home() / ".claude", {{"projects/-p/session-1.jsonl", lines}});
  return sandbox.home() / ".claude/projects/-p/session-1.jsonl";
}

TEST(Import, letsTheNextPromptGoOnInTheAgentsSession) {
  Sandbox sandbox;
  sandbox.addAgent(claude_says::begin() + claude_says::text("Further.") + claude_says::end());
  const std::filesystem::path file = writeSession(sandbox);
  const auto writtenAt = std::filesystem::last_write_time(file);
  EXPECT_EQ(sandbox.json({"import", "claude"}),
            (json::value{{"conversations", 1}, {"items", 2}, {"grown", 0}, {"known", 0}, {"skipped", json::array()}}));
  EXPECT_EQ(std::filesystem::last_write_time(file), writtenAt);

  const json::value list = sandbox.json({"conversation", "list"});
  const std::string id(list.at(0).at("id").as_string());
  const ProgramResult answer = sandbox.run({"run", "--conversation", id, "Go on"});
  EXPECT_EQ(answer.status, 0) << answer.errors;
  EXPECT_THAT(sandbox.agentArguments(), HasSubstr("--resume\nsession-1\n"));

  EXPECT_EQ(sandbox.run({"import", "claude"}).output,
            "Claude Code: 0 new conversations with 0 items, 1 session known already\n");
  const json::value shown = sandbox.json({"conversation", "show", id});
  EXPECT_EQ(shown.at("items").as_array().size(), 4u);

  sandbox.enter(sandbox.home());
  std::filesystem::remove_all(sandbox.project());
  for (const std::vector<std::string>& where :
       {std::vector<std::string>{"--conversation", id}, std::vector<std::string>{"--project", "project"}}) {
    std::vector<std::string> command = {"run", "Go on"};
    std::ranges::copy(where, std::back_inserter(command));
    const ProgramResult refused = sandbox.run(command);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, StartsWith("ravant: nothing can run in the project project: the folder "));
  }
  const json::value after = sandbox.json({"conversation", "list"});
  ASSERT_EQ(after.as_array().size(), 1u);
  EXPECT_EQ(after.at(0).at("items"), 4);
}

TEST(Import, givesWhatItBroughtInToTheAgentThatIsAddedLater) {
  const Sandbox sandbox;
  writeSession(sandbox);
  const ProgramResult imported = sandbox.run({"import", "claude"});
  EXPECT_THAT(imported.errors, HasSubstr("go on once it is added: ravant agent add claude"));
  const std::string id(sandbox.json({"conversation", "list"}).at(0).at("id").as_string());
  EXPECT_THAT(sandbox.run({"run", "--conversation", id, "Go on"}).errors, HasSubstr("ravant agent add claude"));

  sandbox.addAgent(claude_says::begin() + claude_says::text("Further.") + claude_says::end());
  const ProgramResult answer = sandbox.run({"run", "--agent", "claude", "--conversation", id, "Go on"});
  EXPECT_EQ(answer.status, 0) << answer.errors;
  EXPECT_THAT(sandbox.agentArguments(), HasSubstr("--resume\nsession-1\n"));
  EXPECT_EQ(sandbox.run({"import", "claude"}).errors, "");
}

TEST(Import, saysWhatItDidNotBringIn) {
  Sandbox sandbox;
  sandbox.dropPrivileges();
  EXPECT_EQ(sandbox.run({"import", "pi"}).output,
            fmt::format("There are no sessions of Pi in {}\n", (sandbox.home() / ".pi/agent").string()));
  EXPECT_EQ(sandbox.run({"import", "codex", "--from", "no-such-folder"}).status, 1);
  EXPECT_EQ(sandbox.run({"import", "cursor"}).status, 2);
  const ProgramResult unnamed = sandbox.run({"import", "pi", "--from", ""});
  EXPECT_EQ(unnamed.status, 2);
  EXPECT_THAT(unnamed.errors, HasSubstr("--from is empty"));

  const std::filesystem::path file = writeSession(sandbox);
  ASSERT_EQ(::chmod(file.c_str(), 0), 0);
  sandbox.setVariable("CLAUDE_CONFIG_DIR", sandbox.home() / ".claude");
  EXPECT_EQ(sandbox.run({"import", "claude"}).output,
            fmt::format("Claude Code: 0 new conversations with 0 items\nNot brought in:\n  {}: Permission denied\n",
                        file.string()));
}

TEST(Import, saysWhichFolderWasMeant) {
  const Sandbox sandbox;
  std::filesystem::create_directories(sandbox.home() / ".pi/agent/sessions/--p--");
  const auto errorsFrom = [&](const std::string& below) {
    return sandbox.run({"import", "pi", "--from", sandbox.home() / below}).errors;
  };
  const std::string meant = fmt::format("there are some with --from {}\n", (sandbox.home() / ".pi/agent").string());
  for (const char* below : {"", ".pi", ".pi/", ".pi/agent/sessions", ".pi/agent/sessions/--p--"}) {
    EXPECT_THAT(errorsFrom(below), HasSubstr(meant)) << below;
  }
  EXPECT_EQ(errorsFrom(".pi/agent"), "");
  EXPECT_EQ(sandbox.run({"import", "claude", "--from", sandbox.home()}).errors,
            fmt::format("ravant: Claude Code would have its sessions in {}, which is not there\n",
                        (sandbox.home() / "projects").string()));
}

}  // namespace
}  // namespace ravant::test
