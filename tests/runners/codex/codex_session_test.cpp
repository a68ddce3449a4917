#include "runners/codex/codex_session.hpp"

#include "tests/runners/session_fixture.hpp"

namespace ravant::test {
namespace {

using namespace session_lines;

class CodexSessions : public ::testing::TestWithParam<SessionFixture> {};

TEST_P(CodexSessions, haveTheItemsOfARun) {
  expectTheItemsOfARun(
      {.list = listCodexSessions,
       .open = [](const ListedSession& session) { return std::make_unique<CodexSession>(session.id); }},
      GetParam());
}

const std::string kThread = "11111111-1111-7111-8111-111111111111";
const std::string kOther = "22222222-2222-7222-8222-222222222222";
const std::string kSegment = "33333333-3333-7333-8333-333333333333";

std::string rollout(const std::string& ids) {
  return "sessions/2026/11/22/rollout-2026-11-22T10-00-00-" + ids + ".jsonl";
}

const std::vector<SessionFixture> kFixtures = {
    {.name = "ItemsAndNotWhatTheModelSaw",
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

INSTANTIATE_TEST_SUITE_P(Files, CodexSessions, ::testing::ValuesIn(kFixtures), kNameOfFixture);

}  // namespace
}  // namespace ravant::test
