#include "runners/claude/claude_session.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/runners/session_fixture.hpp"

namespace ravant::test {
namespace {

using namespace session_lines;
using ::testing::ElementsAre;
using ::testing::SizeIs;

class ClaudeSessions : public ::testing::TestWithParam<SessionFixture> {};

TEST_P(ClaudeSessions, haveTheItemsOfARun) {
  expectTheItemsOfARun(
      {.list = listClaudeSessions, .open = [](const ListedSession&) { return std::make_unique<ClaudeSession>(); }},
      GetParam());
}

const std::vector<SessionFixture> kFixtures = {
    {.name = "CallsAtOnceAndBlocks",
     .files = {{"projects/-p/s1.jsonl",
                {R"({"type":"queue-operation","operation":"enqueue","content":"Go","sessionId":"s1"})",
                 claudePrompt("u1", "", "Go"), claude("attachment", "a1", "u1", R"("attachment":{"type":"date"})"),
                 claudeReply("r1", "a1", "m1", R"({"type":"thinking","thinking":"Hm."})"),
                 claudeReply("r2", "r1", "m1", R"({"type":"text","text":"One."})"),
                 claudeReply("r3", "r2", "m1", R"({"type":"text","text":"Two.\n\n```sh\nls\n```"})"),
                 claudeReply("r4", "r3", "m1", R"({"type":"tool_use","id":"c1","name":"Bash","input":{"a":1}})"),
                 claudeReply("r5", "r4", "m1", R"({"type":"tool_use","id":"c2","name":"Read","input":{}})"),
                 claudeResult("t2", "r5", "c2", "second"), claudeResult("t1", "r4", "c1", "first"),
                 claudeReply("r6", "t1", "m2", R"({"type":"text","text":"Done."})", "end_turn", 7),
                 R"({"type":"custom-title","customTitle":"Mine","sessionId":"s1"})"}}},
     .transcript = R"(== s1 in /p: Mine
userMessage: Go
agentMessage: One.
  model m1 out 5
agentMessage: Two.

```sh
ls
```
  model m1 out 5
  prose Two.
  code ls
toolInvocationGroup: 
  completed Bash c1 <{"a":1}> <first>
  completed Read c2 <{}> <second>
agentMessage: Done.
  model m2 out 7
)"},
    {.name = "LinesThatNobodyTyped",
     .files =
         {{"projects/-p/s1.jsonl",
           {claudePrompt("u1", "", "Go", R"("isMeta":true)"),
            claudePrompt("u2", "u1", "<command-name>/compact</command-name>"),
            claudePrompt("u3", "u2", "<local-command-stdout>x</local-command-stdout>"),
            claudePrompt("u4", "u3", "<bash-input>ls</bash-input>"), claudePrompt("u5", "u4", "<task-notification>x"),
            claudePrompt("u6", "u5", "Summary", R"("isCompactSummary":true)"),
            claudePrompt("u7", "u6", "By a task", R"("origin":{"kind":"task-notification"})"),
            claude("system", "y1", "u7", R"("subtype":"turn_duration")"),
            claude("system", "y2", "y1", R"("subtype":"of_tomorrow")"), claudePrompt("u8", "y2", "Typed"),
            claudeReply("r1", "u8", "m1", R"({"type":"tool_use","id":"c1","name":"Bash","input":{}})"),
            claudePrompt("u9", "r1", "[Request interrupted by user for tool use]"),
            claudeResult("t1", "u9", "c1", "[Tool call interrupted: x]"),
            claude("assistant", "r2", "t1",
                   R"("message":{"model":"<synthetic>","content":[{"type":"text","text":"No response requested."}]})"),
            claudePrompt("u10", "r2", "Again"),
            claudeReply("r3", "u10", "m2", R"({"type":"tool_use","id":"c2","name":"Bash","input":{}})"),
            claudeResult("t2", "r3", "c2", "The user doesn't want to proceed with this tool use."),
            claude(
                "assistant", "r4", "t2",
                R"("isApiErrorMessage":true,"message":{"model":"<synthetic>","content":[{"type":"text","text":"API Error: 400"}]})")}}},
     .transcript = R"(== s1 in /p: -
userMessage: Typed
toolInvocationGroup: 
  failed Bash c1 <{}> <Cancelled before the tool had a result.>
userMessage: Again
toolInvocationGroup: 
  failed Bash c2 <{}> <Cancelled before the tool had a result.>
failureEvent: The agent run failed: API Error: 400
)",
     .unknown = {"system/of_tomorrow"}},
    {.name = "PromptsTakenBackAndQueuedOnes",
     .files = {{"projects/-p/s1.jsonl",
                {claudePrompt("u1", "", "First"), claudeReply("r1", "u1", "m1", R"({"type":"text","text":"Answer."})"),
                 claudePrompt("u2", "r1", "Taken back"),
                 claudeReply("r2", "u2", "m2", R"({"type":"tool_use","id":"c1","name":"Bash","input":{}})"),
                 claudeResult("t1", "r2", "c1", "gone"), claudePrompt("u3", "r1", "Better"),
                 claudeReply("r3", "u3", "m3", R"({"type":"tool_use","id":"c2","name":"Bash","input":{}})"),
                 claudePrompt("u4", "r3", "Queued"), claudeResult("t2", "r3", "c2", "out"),
                 claudeReply("r4", "t2", "m4", R"({"type":"text","text":"Both."})"),
                 claudePrompt("u5", "r4", "Taken back for a command"),
                 claudeReply("r5", "u5", "m5", R"({"type":"text","text":"Gone."})"),
                 claudePrompt("u6", "r4", "<bash-input>ls</bash-input>"), claudePrompt("u7", "u6", "On"),
                 claudeReply("r6", "u7", "m6", R"({"type":"tool_use","id":"c3","name":"Bash","input":{}})"),
                 claudePrompt("u8", "r6", "Waits", R"("promptSource":"queued")"),
                 claudePrompt("u9", "r6", "Waits too", R"("promptSource":"queued")")}}},
     .transcript = R"(== s1 in /p: -
userMessage: First
agentMessage: Answer.
  model m1 out 5
userMessage: Better
toolInvocationGroup: 
  completed Bash c2 <{}> <out>
userMessage: Queued
agentMessage: Both.
  model m4 out 5
userMessage: On
toolInvocationGroup: 
  failed Bash c3 <{}> <The agent's turn ended before the tool had a result.>
userMessage: Waits
userMessage: Waits too
)",
     .isOver = false},
    {.name = "CompactionSidechainAndOldTitle",
     .files = {{"projects/-p/s1.jsonl",
                {R"({"type":"summary","summary":"Of another session","leafUuid":"elsewhere"})",
                 claudePrompt("u1", "", "Go"),
                 claude("user", "x1", "", R"("isSidechain":true,"message":{"role":"user","content":"Sub-agent"})"),
                 claudeReply("r1", "u1", "m1", R"({"type":"text","text":"Before."})"),
                 R"({"type":"summary","summary":"Mine","leafUuid":"r1"})",
                 claude("system", "b1", "", R"("subtype":"compact_boundary","compactMetadata":{"trigger":"manual"})"),
                 claudePrompt("u2", "b1", "It goes on", R"("isCompactSummary":true)"),
                 claudePrompt("u3", "u2", "See", R"("imagePasteIds":[1])"),
                 claudeReply("r2", "u3", "m2", R"({"type":"tool_use","id":"c1","name":"Bash","input":{}})")}},
               {"projects/-p/s1/subagents/agent-1.jsonl", {claudePrompt("y1", "", "Sub-agent of 2.x")}}},
     .transcript = R"(== s1 in /p: Mine
userMessage: Go
agentMessage: Before.
  model m1 out 5
compactionEvent: Context compacted (manual)
userMessage: See
toolInvocationGroup: 
  failed Bash c1 <{}> <The agent's turn ended before the tool had a result.>
)",
     .isOver = false},
};

INSTANTIATE_TEST_SUITE_P(Files, ClaudeSessions, ::testing::ValuesIn(kFixtures), kNameOfFixture);

TEST(SessionListing, comesToAnEndInLoopsAndTellsWhatCannotBeRead) {
  const TemporaryFolder folder;
  writeSessions(folder.path(), {{"projects/-p/s1.jsonl", {claudePrompt("u1", "", "Go")}}});
  std::filesystem::create_directory_symlink("..", folder / "projects/-p/up");
  std::filesystem::create_directory_symlink("-p", folder / "projects/-again");
  std::filesystem::create_symlink("turns.jsonl", folder / "projects/-p/turns.jsonl");
  std::filesystem::create_directory(folder / "projects/-p/folder.jsonl");
  ASSERT_EQ(::mkfifo((folder / "projects/-p/pipe.jsonl").c_str(), 0600), 0);
  const SessionListing listing = listClaudeSessions(folder.path());
  ASSERT_THAT(listing.sessions, SizeIs(1));
  const std::filesystem::path inside = listing.sessions[0].files.at(0).path.parent_path();
  EXPECT_THAT(listing.skipped,
              ElementsAre(SkippedSession{inside / "folder.jsonl", "it is a folder, no file"},
                          SkippedSession{inside / "pipe.jsonl", "it is a pipe or a device, no file"},
                          SkippedSession{inside / "turns.jsonl", "Too many levels of symbolic links"}));
}

}  // namespace
}  // namespace ravant::test
