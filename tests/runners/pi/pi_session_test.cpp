#include "runners/pi/pi_session.hpp"

#include "tests/runners/session_fixture.hpp"

namespace ravant::test {
namespace {

using namespace session_lines;

class PiSessions : public ::testing::TestWithParam<SessionFixture> {};

TEST_P(PiSessions, haveTheItemsOfARun) {
  expectTheItemsOfARun(
      {.list = [](const auto& folder) { return listPiSessions(folder / "sessions", PiFolderShape::byProject); },
       .open = [](const ListedSession&) { return std::make_unique<PiSession>(); }},
      GetParam());
}

const std::vector<SessionFixture> kFixtures = {
    {.name = "TheWayFromTheLastEntry",
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

INSTANTIATE_TEST_SUITE_P(Files, PiSessions, ::testing::ValuesIn(kFixtures), kNameOfFixture);

}  // namespace
}  // namespace ravant::test
