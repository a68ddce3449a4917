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
  const Sandbox sandbox;
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
}

TEST(Import, saysWhatItDidNotBringIn) {
  Sandbox sandbox;
  sandbox.dropPrivileges();
  EXPECT_EQ(sandbox.run({"import", "pi"}).output,
            fmt::format("There are no sessions of Pi in {}\n", (sandbox.home() / ".pi/agent").string()));
  EXPECT_EQ(sandbox.run({"import", "codex", "--from", "no-such-folder"}).status, 1);
  EXPECT_EQ(sandbox.run({"import", "cursor"}).status, 2);

  const std::filesystem::path file = writeSession(sandbox);
  ASSERT_EQ(::chmod(file.c_str(), 0), 0);
  sandbox.setVariable("CLAUDE_CONFIG_DIR", sandbox.home() / ".claude");
  EXPECT_EQ(sandbox.run({"import", "claude"}).output,
            fmt::format("Claude Code: 0 new conversations with 0 items\nNot brought in:\n  {}: Permission denied\n",
                        file.string()));
}

}  // namespace
}  // namespace ravant::test
