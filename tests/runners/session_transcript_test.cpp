#include "runners/session_transcript.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <ranges>

#include "core/agent_type.hpp"
#include "runners/claude/claude_session.hpp"
#include "runners/codex/codex_session.hpp"
#include "runners/pi/pi_session.hpp"
#include "tests/runners/session_lines.hpp"

namespace ravant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

struct SessionFixture {
  const char* name;
  AgentType agent;
  std::vector<SessionFileLines> files;
  std::string transcript;
  std::vector<std::string> skipped = {};
  bool isOver = true;
  std::vector<std::string> unknown = {};
};

SessionListing list(AgentType agent, const std::filesystem::path& folder) {
  if (agent == AgentType::claude) return listClaudeSessions(folder);
  if (agent == AgentType::codex) return listCodexSessions(folder);
  return listPiSessions(folder / "sessions", PiFolderShape::byProject);
}

std::unique_ptr<AgentSession> open(AgentType agent, const ListedSession& session) {
  if (agent == AgentType::claude) return std::make_unique<ClaudeSession>();
  if (agent == AgentType::codex) return std::make_unique<CodexSession>(session.id);
  return std::make_unique<PiSession>();
}

std::string shown(const ConversationItem& item) {
  std::string text = fmt::format("{}: {}\n", rawValue(kindOf(item)), item.text);
  if (const auto* message = std::get_if<AgentMessage>(&item.detail)) {
    text += fmt::format("  {} {} out {}\n", message->agentModel.value_or("-"), message->providerMessageId.value_or("-"),
                        message->outputTokens.value_or(-1));
    for (const MessageBlock& block : message->blocks) {
      if (message->blocks.size() > 1) text += fmt::format("  {} {}\n", rawValue(block.kind), block.text);
    }
  }
  if (const auto* group = std::get_if<ToolInvocationGroup>(&item.detail)) {
    for (const ToolInvocation& call : group->invocations) {
      text += fmt::format("  {} {} {} <{}> <{}>\n", rawValue(call.status), call.toolName, call.toolCallId,
                          call.input.value_or("-"), call.output.value_or("-"));
      EXPECT_TRUE(call.completedAt) << text;
      EXPECT_FALSE(call.rawJSON.empty()) << text;
    }
  }
  return text;
}

/// Every session's transcript, turns apart.
std::string transcripts(AgentType agent, const SessionListing& listing, bool isOver,
                        std::vector<std::string>& unknown) {
  std::string text;
  for (const ListedSession& session : listing.sessions) {
    SessionTranscript transcript(session, open(agent, session));
    EXPECT_EQ(transcript.outline().isLastTurnOver, isOver);
    text += fmt::format("== {} in {}: {}{}\n", session.id, transcript.outline().workingDirectory,
                        session.title.value_or(transcript.outline().title.value_or("-")),
                        session.isArchived ? " (archived)" : "");
    std::ranges::copy(transcript.outline().unknownTypes | std::views::keys, std::back_inserter(unknown));
    Timestamp before{};
    while (auto turn = transcript.nextTurn()) {
      for (const ConversationItem& item : turn->take()) {
        text += shown(item);
        EXPECT_GE(item.createdAt, before);
        before = item.createdAt;
      }
    }
  }
  return text;
}

class SessionOfAgent : public ::testing::TestWithParam<SessionFixture> {};

TEST_P(SessionOfAgent, hasTheItemsOfARun) {
  const SessionFixture& fixture = GetParam();
  const TemporaryFolder folder;
  writeSessions(folder.path(), fixture.files);
  const SessionListing listing = list(fixture.agent, folder.path());
  std::vector<std::string> unknown;
  EXPECT_EQ(transcripts(fixture.agent, listing, fixture.isOver, unknown), fixture.transcript);
  EXPECT_EQ(unknown, fixture.unknown);
  std::vector<std::string> reasons;
  for (const SkippedSession& skipped : listing.skipped) reasons.push_back(skipped.reason);
  EXPECT_EQ(reasons, fixture.skipped);
}

using namespace session_lines;

const std::vector<SessionFixture> kClaude = {
    {.name = "CallsAtOnceAndBlocks",
     .agent = AgentType::claude,
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
     .agent = AgentType::claude,
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
     .agent = AgentType::claude,
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
     .agent = AgentType::claude,
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

const std::string kThread = "11111111-1111-7111-8111-111111111111";
const std::string kOther = "22222222-2222-7222-8222-222222222222";
const std::string kSegment = "33333333-3333-7333-8333-333333333333";

std::string rollout(const std::string& ids) {
  return "sessions/2026/11/22/rollout-2026-11-22T10-00-00-" + ids + ".jsonl";
}

const std::vector<SessionFixture> kCodex = {
    {.name = "ItemsAndNotWhatTheModelSaw",
     .agent = AgentType::codex,
     .files =
         {{rollout(kThread),
           {codexMeta(kThread),
            codexEvent(1, R"("type":"task_started","turn_id":"t1")"),
            codexResponse(
                2,
                R"("type":"message","role":"user","content":[{"type":"input_text","text":"<environment_context>"}])"),
            codexLine(3, "turn_context", R"("turn_id":"t1","cwd":"/q","model":"gpt")"),
            codexResponse(4, R"("type":"message","role":"user","content":[{"type":"input_text","text":"Go"}])"),
            codexItem(
                5, "t1",
                R"("type":"UserMessage","id":"i1","content":[{"type":"local_image","path":"a.png"},{"type":"text","text":"Go"}])"),
            codexItem(6, "t1", R"("type":"AgentMessage","id":"m1","content":[{"type":"Text","text":"Hello."}])"),
            codexResponse(7,
                          R"("type":"message","role":"assistant","content":[{"type":"output_text","text":"Hello."}])"),
            codexEvent(8, R"("type":"token_count","info":null)"),
            codexEvent(8, R"("type":"of_tomorrow")"),
            codexResponse(8, R"("type":"of_tomorrow")"),
            codexUsage(9, 12),
            codexResponse(
                10,
                R"("type":"function_call","name":"exec_command","arguments":"{\"cmd\":\"exit 3\"}","call_id":"c1")"),
            codexItem(
                11, "t1",
                R"("type":"CommandExecution","id":"c1","command":["/bin/bash","-lc","echo 'a b'; exit 3"],"cwd":"file:///q","status":"failed","aggregated_output":"a b\n","exit_code":3)"),
            codexItem(
                12, "t1",
                R"("type":"FileChange","id":"c2","changes":{"/q/a":{"type":"add","content":"x\n"},"/q/b":{"type":"update","unified_diff":"@@\n-y\n","move_path":null}},"status":"completed","stdout":"Success")"),
            codexItem(13, "t1", R"("type":"WebSearch","id":"c3","query":"ravens")"),
            codexItem(14, "t1", R"("type":"ImageView","id":"c4","path":"file:///q/my%20dot.png")"),
            codexItem(
                15, "t1",
                R"("type":"CollabAgentToolCall","id":"c5","tool":"spawn_agent","prompt":"Look","status":"completed")"),
            codexResponse(16, R"("type":"function_call","name":"update_plan","arguments":"{}","call_id":"c6")"),
            codexResponse(17, R"("type":"function_call","name":"no_such","arguments":"{}","call_id":"c7")"),
            codexResponse(18, R"("type":"custom_tool_call","name":"exec","input":"js","call_id":"c8")"),
            codexItem(19, "t1", R"("type":"ContextCompaction","id":"k")"),
            codexLine(20, "compacted", R"("message":"Summary","replacement_history":[])"),
            codexEvent(
                21,
                R"("type":"task_complete","turn_id":"t1","error":{"message":"too much","codex_error_info":"other"})")}},
          {"session_index.jsonl",
           {R"({"id":")" + kThread + R"(","thread_name":"First"})",
            R"({"id":")" + kThread + R"(","thread_name":"Last"})"}},
          {rollout(kOther),
           {R"({"type":"session_meta","payload":{"id":")" + kOther + R"(","session_id":")" + kThread +
                R"(","cwd":"/q","source":{"subagent":{"thread_spawn":{}}}}})",
            codexItem(1, "t9", R"("type":"UserMessage","content":[{"text":"Sub-agent"}])")}}},
     .transcript = "== " + kThread + R"( in /q: Last
userMessage: Go
agentMessage: Hello.
  gpt m1 out 12
toolInvocationGroup: 
  failed shell c1 <echo 'a b'; exit 3> <a b
exit code 3>
  completed apply_patch c2 </q/a
/q/b> </q/a (added)
x

/q/b
@@
-y>
  completed web_search c3 <ravens> <>
  completed view_image c4 </q/my dot.png> <[image]>
  completed spawnAgent c5 <Look> <>
compactionEvent: Context compacted
failureEvent: The agent run failed: rpc(too much)
)",
     .unknown = {"event_msg/of_tomorrow", "response_item/of_tomorrow"}},
    {.name = "CommandsThatWereCutOff",
     .agent = AgentType::codex,
     .files =
         {{"archived_sessions/rollout-2026-11-22T10-00-00-" + kThread + ".jsonl",
           {codexMeta(kThread), codexEvent(1, R"("type":"task_started","turn_id":"t1")"),
            codexItem(2, "t1", R"("type":"UserMessage","content":[{"type":"text","text":"Go"}])"),
            codexCommand(3, "c1", "sleep 9"), codexCommand(4, "c2", "make"), codexCommand(5, "c3", "read x"),
            codexItem(6, "t1", R"("type":"AgentMessage","id":"m1","content":[{"type":"Text","text":"Later."}])"),
            codexEvent(7, R"("type":"task_complete","turn_id":"t1")"),
            codexItem(
                8, "t1",
                R"("type":"CommandExecution","id":"c3","command":["read","x"],"status":"failed","aggregated_output":"","exit_code":-1)"),
            codexEvent(9, R"("type":"task_started","turn_id":"t2")"),
            codexItem(10, "t2", R"("type":"UserMessage","content":[{"type":"text","text":"More"}])"),
            codexItem(
                11, "t1",
                R"("type":"CommandExecution","id":"c2","command":["make"],"status":"completed","aggregated_output":"built","exit_code":0)"),
            codexCommand(12, "c4", "tail -f"),
            codexEvent(13, R"("type":"turn_aborted","turn_id":"t2","reason":"interrupted")"),
            codexEvent(14, R"("type":"task_started","turn_id":"t3")"),
            codexItem(
                15, "t3",
                R"("type":"CommandExecution","id":"c5","source":"user_shell","command":["ls"],"status":"completed","aggregated_output":"a","exit_code":0)"),
            codexEvent(16, R"("type":"task_complete","turn_id":"t3")")}}},
     .transcript = "== " + kThread + R"( in /p: - (archived)
userMessage: Go
toolInvocationGroup: 
  failed shell c1 <sleep 9> <The agent's turn ended before the tool had a result.>
  completed shell c2 <make> <built>
  failed shell c3 <read x> <The agent's turn ended before the tool had a result.>
agentMessage: Later.
  - m1 out -1
userMessage: More
toolInvocationGroup: 
  failed shell c4 <tail -f> <Cancelled before the tool had a result.>
toolInvocationGroup: 
  completed shell c5 <ls> <a>
)"},
    {.name = "BeforeThereWereItemsAndAfter",
     .agent = AgentType::codex,
     .files =
         {{rollout(kThread),
           {codexOld("session_meta", R"("id":")" + kThread + R"(","cwd":"/p")"),
            codexOld("response_item",
                     R"("type":"message","role":"user","content":[{"type":"input_text","text":"# AGENTS.md"}])"),
            codexOld("response_item",
                     R"("type":"message","role":"user","content":[{"type":"input_text","text":"Go"}])"),
            codexOld("event_msg", R"("type":"user_message","message":"Go")"),
            codexOld("turn_context", R"("cwd":"/p","model":"gpt")"),
            codexOld("event_msg", R"("type":"agent_message","message":"Running.")"),
            codexOld("response_item",
                     R"("type":"message","role":"assistant","content":[{"type":"output_text","text":"Running."}])"),
            codexOld(
                "response_item",
                R"("type":"function_call","name":"exec_command","arguments":"{\"cmd\":\"exit 3\"}","call_id":"c1")"),
            codexOld(
                "response_item",
                R"("type":"function_call_output","call_id":"c1","output":"Chunk ID: 1\nWall time: 0.1 seconds\nProcess exited with code 3\nOriginal token count: 2\nOutput:\none\nOutput:\ntwo\n")"),
            codexOld("response_item", R"("type":"function_call","name":"Write","arguments":"{}","call_id":"c2")"),
            codexOld("response_item",
                     R"("type":"function_call_output","call_id":"c2","output":"unsupported call: Write")"),
            codexOld("event_msg", R"("type":"agent_message","message":"Done.")"),
            codexTurn(1, "t1", "Of a newer version")}}},
     .transcript = "== " + kThread + R"( in /p: -
userMessage: Go
agentMessage: Running.
  gpt - out -1
toolInvocationGroup: 
  failed shell c1 <exit 3> <one
Output:
two
exit code 3>
agentMessage: Done.
  gpt - out -1
userMessage: Of a newer version
)"},
    {.name = "SegmentsAndForks",
     .agent = AgentType::codex,
     .files = {{rollout(kThread), {codexMeta(kThread), codexTurn(1, "t1", "One"), codexTurn(2, "t2", "Abandoned")}},
               {rollout(kThread + "_" + kSegment),
                {codexMeta(kThread, R"("history_base":{"thread_id":")" + kThread + R"(","end_ordinal_exclusive":2},)",
                           30),
                 codexTurn(2, "t3", "Edited")}},
               {rollout(kOther),
                {codexMeta(kOther,
                           R"("forked_from_id":"x","history_base":{"thread_id":")" + kSegment +
                               R"(","end_ordinal_exclusive":3},)",
                           40),
                 codexTurn(3, "t4", "Of the fork")}},
               {rollout("44444444-4444-7444-8444-444444444444"),
                {codexMeta("44444444-4444-7444-8444-444444444444",
                           R"("history_base":{"thread_id":"gone","end_ordinal_exclusive":9},)", 50),
                 codexTurn(9, "t5", "Without its beginning")}}},
     .transcript = "== " + kThread + " in /p: -\nuserMessage: One\nuserMessage: Edited\n== " + kOther +
                   " in /p: -\nuserMessage: One\nuserMessage: Edited\nuserMessage: Of the fork\n"
                   "== 44444444-4444-7444-8444-444444444444 in /p: -\nuserMessage: Without its beginning\n",
     .skipped = {"the file that it goes on from is missing (gone)"}},
};

const std::vector<SessionFixture> kPi = {
    {.name = "TheWayFromTheLastEntry",
     .agent = AgentType::pi,
     .files =
         {{"sessions/--p--/1_s1.jsonl",
           {piHeader("s1"), pi("model_change", "e0", "", R"("modelId":"mock")"),
            pi("message", "e1", "e0", R"("message":{"role":"system","content":""})"),
            pi("message", "e1a", "e1", R"("message":{"role":"of_tomorrow"})"), piPrompt("e2", "e1a", "Go"),
            piReply(
                "e3", "e2",
                R"({"type":"thinking","thinking":"Hm."},{"type":"text","text":"Running."},{"type":"toolCall","id":"c1","name":"bash","arguments":{"command":"ls"}})",
                "toolUse"),
            piResult("e4", "e3", "c1", "a\\nb", true), piReply("e5", "e4", R"({"type":"text","text":"Done."})", "stop"),
            piPrompt("e6", "e5", "On a side branch"), piReply("e7", "e6", R"({"type":"text","text":"Gone."})", "stop"),
            pi("x_of_an_extension", "e8", "e5", "\"data\":1"),
            pi("compaction", "e9", "e8", R"("summary":"S","firstKeptEntryId":"e3")"), piPrompt("e10", "e9", "More"),
            piReply("e11", "e10", "", "error", R"("errorMessage":"overloaded",)"),
            pi("context_edit", "e12", "e11", R"("targetId":"e11","replacement":null)"),
            piReply("e13", "e12", R"({"type":"text","text":"Again."})", "stop"),
            pi("session_info", "e14", "e13", R"("name":"Mine")"), piPrompt("e15", "e14", "Fail"),
            piReply("e16", "e15", "", "error", R"("errorMessage":"400: no",)")}}},
     .transcript = R"(== s1 in /p: Mine
userMessage: Go
agentMessage: Running.
  mock resp-e3 out -1
toolInvocationGroup: 
  failed bash c1 <{"command":"ls"}> <a
b>
agentMessage: Done.
  mock resp-e5 out 5
compactionEvent: Context compacted
userMessage: More
agentMessage: Again.
  mock resp-e13 out 5
userMessage: Fail
failureEvent: The agent run failed: 400: no
)",
     .isOver = false,
     .unknown = {"message/of_tomorrow", "x_of_an_extension"}},
    {.name = "Interrupted",
     .agent = AgentType::pi,
     .files = {{"sessions/--p--/1_s1.jsonl",
                {piHeader("s1"), piPrompt("e1", "", "Go"),
                 piReply("e2", "e1", R"({"type":"toolCall","id":"c1","name":"bash","arguments":{}})", "toolUse"),
                 piReply("e3", "e2", "", "error", R"("errorMessage":"This operation was aborted",)")}},
               {"sessions/--p--/2_s2.jsonl", {R"({"type":"message","id":"e1"})"}}},
     .transcript = R"(== s1 in /p: -
userMessage: Go
toolInvocationGroup: 
  failed bash c1 <{}> <Cancelled before the tool had a result.>
)",
     .skipped = {"its first line does not say which session it is"}},
};

constexpr auto kName = [](const auto& info) { return std::string(info.param.name); };
INSTANTIATE_TEST_SUITE_P(Claude, SessionOfAgent, ::testing::ValuesIn(kClaude), kName);
INSTANTIATE_TEST_SUITE_P(Codex, SessionOfAgent, ::testing::ValuesIn(kCodex), kName);
INSTANTIATE_TEST_SUITE_P(Pi, SessionOfAgent, ::testing::ValuesIn(kPi), kName);

TEST(SessionListing, comesToAnEndInLoopsAndTellsWhatCannotBeRead) {
  const TemporaryFolder folder;
  writeSessions(folder.path(), {{"projects/-p/s1.jsonl", {claudePrompt("u1", "", "Go")}}});
  std::filesystem::create_directory_symlink("..", folder / "projects/-p/up");
  std::filesystem::create_directory_symlink("-p", folder / "projects/-again");
  std::filesystem::create_symlink("turns.jsonl", folder / "projects/-p/turns.jsonl");
  std::filesystem::create_directory(folder / "projects/-p/folder.jsonl");
  const SessionListing listing = listClaudeSessions(folder.path());
  EXPECT_THAT(listing.sessions, SizeIs(1));
  EXPECT_THAT(listing.skipped,
              ElementsAre(SkippedSession{listing.sessions.at(0).files.at(0).path.parent_path() / "turns.jsonl",
                                         "Too many levels of symbolic links"}));
}

}  // namespace
}  // namespace ravant::test
