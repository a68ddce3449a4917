#include "runners/claude/claude_turn.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

#include "core/overloaded.hpp"

namespace ravant::test {
namespace {

using namespace turn;
using Actions = std::vector<Action>;
using Lines = std::vector<std::string>;

std::string inSession(const std::string& session, const std::string& members) {
  return fmt::format(R"({{"session_id":"{}",{}}})", session, members);
}

/// A line of the session "s" with one reply.
std::string reply(const std::string& id, const std::string& block, const std::string& more = "") {
  return inSession(
      "s", fmt::format(R"("type":"assistant","message":{{"id":"{}","model":"m","content":[{}]{}}})", id, block, more));
}
std::string text(const std::string& words) { return fmt::format(R"({{"type":"text","text":"{}"}})", words); }
std::string usage(int input, int output) {
  return fmt::format(R"(,"usage":{{"input_tokens":{},"output_tokens":{}}})", input, output);
}
std::string synthetic(const std::string& words) {
  return inSession("s", fmt::format(R"("type":"assistant","message":{{"id":"x","model":"<synthetic>","content":[{}]}})",
                                    text(words)));
}
std::string result(const std::string& members = R"("result":"")") {
  return inSession("s", R"("type":"result",)" + members);
}

AppendAgentMessage shown(const std::string& line, const std::string& words, const std::string& id = "a",
                         const std::string& model = "m") {
  return {.rawJSON = line, .text = words, .agentModel = model, .providerMessageId = id};
}
ApplyUsage used(std::optional<std::string> id, int input, int output, int total,
                std::optional<std::int64_t> window = std::nullopt) {
  return {.providerMessageId = std::move(id),
          .snapshot = {.inputTokens = input,
                       .outputTokens = output,
                       .usedTokens = std::min<std::int64_t>(total, window.value_or(total)),
                       .totalProcessedTokens = total,
                       .maxTokens = window}};
}

struct Turn {
  std::string name;
  Lines lines;
  Actions actions;  ///< those of all lines, one after another
  std::optional<std::string> session = "s";
  std::optional<std::int64_t> window = std::nullopt;
};

void PrintTo(const Turn& turn, std::ostream* stream) { *stream << turn.name; }

/// Enough of an action to see which one differs.
std::string outline(const TranscriptAction& action) {
  return std::visit(
      Overloaded{[](const AppendAgentMessage& it) { return "message " + it.text; },
                 [](const AppendToolInvocation& it) { return fmt::format("tool {} {}", it.text, *it.input); },
                 [](const UpdateToolInvocation& it) { return "update " + it.toolCallId; },
                 [](const CompleteToolInvocation& it) { return fmt::format("end {} {}", it.toolCallId, it.output); },
                 [](const AppendCompactionEvent& it) { return it.text; },
                 [](const ApplyUsage& it) {
                   return fmt::format("usage of {}: out {}, used {}", it.providerMessageId.value_or("-"),
                                      it.snapshot.outputTokens, it.snapshot.usedTokens);
                 },
                 [](const ApplyContextWindow& it) { return fmt::format("window {}", it.maxTokens); },
                 [](const ApplyContextUse& it) { return fmt::format("context {}", it.usedTokens); },
                 [](const SetSession& it) { return "session " + it.sessionId.value_or("-"); }},
      action);
}

std::string outline(const Actions& actions) {
  std::string text;
  for (const Action& action : actions) {
    text += std::visit(Overloaded{[](const TranscriptAction& it) { return outline(it); },
                                  [](const Grow& it) { return "grow " + it.text; },
                                  [](const Retry& it) { return "retry " + it.reason; },
                                  [](const Finish&) { return std::string("finish"); },
                                  [](const Fail& it) { return "fail " + it.text; }},
                       action);
    text += '\n';
  }
  return text;
}

class ClaudeTurnTest : public testing::TestWithParam<Turn> {};

TEST_P(ClaudeTurnTest, actions) {
  ClaudeTurn turn(GetParam().session, GetParam().window);
  Actions actions;
  for (const std::string& line : GetParam().lines) {
    for (Action& action : turn.onLine(line)) actions.push_back(std::move(action));
  }
  EXPECT_TRUE(actions == GetParam().actions) << outline(actions) << "instead of\n" << outline(GetParam().actions);
}

/// The only action.
TranscriptAction transcriptAction(const Actions& actions) { return std::get<TranscriptAction>(actions.at(0)); }

const std::string kHello = reply("a", text("Hello."));
const std::string kBye = reply("b", text("Bye."));
const std::string kCalls = reply("a",
                                 R"({"type":"tool_use","id":"t","name":"Bash","input":{"command":"ls", "n":1.0}},)"
                                 R"({"type":"text","text":"between"},{"type":"tool_use","id":"u","name":"Read"})",
                                 usage(5, 1));
const std::string kSynthetic = synthetic("API Error: no");
const std::string kBoundary = inSession("s", R"("type":"system","subtype":"compact_boundary")");
const std::string kSubagent =
    inSession("s", R"("parent_tool_use_id":"p","type":"assistant","message":{"id":"a","model":"m","content":[)"
                   R"({"type":"text","text":"no"},{"type":"tool_use","id":"t","name":"Bash","input":{}}],)"
                   R"("usage":{"input_tokens":5}})");
const std::string kSlash = result(R"("result":"3k of 200k tokens")");

INSTANTIATE_TEST_SUITE_P(
    Sessions, ClaudeTurnTest,
    testing::Values(
        Turn{"isStoredWhenItIsNew", {R"({"type":"system","session_id":"new"})"}, {SetSession{"new"}}, std::nullopt},
        Turn{"isStoredWhenItIsAnother", {R"({"session_id":"new"})"}, {SetSession{"new"}}},
        Turn{"isStoredOnce", {R"({"session_id":"s"})", R"({"session_id":"s"})"}, {SetSession{"s"}}, std::nullopt},
        Turn{"isNotStoredAgain", {R"({"session_id":"s"})"}, {}},
        Turn{"mayBeCalledThread", {R"({"thread_id":"new"})"}, {SetSession{"new"}}},
        Turn{"isNoThreadWhereItHasItsName", {R"({"thread_id":"no","session_id":"new"})"}, {SetSession{"new"}}},
        Turn{"isAThreadWhereItIsNoText", {R"({"session_id":7,"thread_id":"new"})"}, {SetSession{"new"}}},
        Turn{"isAThreadWhereItIsEmpty", {R"({"session_id":"","thread_id":"new"})"}, {SetSession{"new"}}},
        Turn{"isNoneWhereItIsEmpty", {R"({"session_id":"","thread_id":""})"}, {}, std::nullopt},
        Turn{"endsATurnThatResumedNone",
             {kHello, result(R"("is_error":true,"result":"No conversation found with session ID: s")")},
             {SetSession{"s"}, shown(kHello, "Hello."), Fail{"No conversation found with session ID: s"}},
             std::nullopt},
        Turn{"isStoredBeforeWhatTheLineSays", {kHello}, {SetSession{"s"}, shown(kHello, "Hello.")}, std::nullopt},
        Turn{"endsNoTurnWhereTheAgentDoesNotKnowIt",
             {result(R"("is_error":true,"errors":["No conversation found with session ID: s"])")},
             {}},
        Turn{"isNotLearntFromTheLineThatDoesNotKnowIt",
             {R"({"type":"result","session_id":"old","is_error":true,)"
              R"("errors":["No conversation found with session ID"]})",
              R"({"session_id":"new"})"},
             {Fail{"No conversation found with session ID"}, SetSession{"new"}},
             std::nullopt}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Replies, ClaudeTurnTest,
    testing::Values(
        Turn{"areShownInTheOrderOfTheirBlocksWithUsageBehindThem",
             {kCalls},
             {AppendToolInvocation{.rawJSON = kCalls,
                                   .text = "Bash",
                                   .toolName = "Bash",
                                   .toolCallId = "t",
                                   .input = R"({"command":"ls","n":1.0})"},
              shown(kCalls, "between"),
              AppendToolInvocation{
                  .rawJSON = kCalls, .text = "Read", .toolName = "Read", .toolCallId = "u", .input = "{}"},
              used("a", 5, 1, 6)}},
        Turn{"areScaledToTheContextWindowOfEarlierTurns",
             {reply("a", "", usage(900, 1))},
             {used("a", 900, 1, 901, 500)},
             "s",
             500},
        Turn{"areScaledToTheContextWindowOfTheTurn",
             {result(R"("modelUsage":{"m":{"contextWindow":700},"n":{"contextWindow":300}})"),
              reply("a", "", usage(900, 1))},
             {ApplyContextWindow{700}, Finish{}, used("a", 900, 1, 901, 700)},
             "s",
             500},
        Turn{"ofSubagentsCountForTheirToolsAlone",
             {kSubagent},
             {AppendToolInvocation{
                 .rawJSON = kSubagent, .text = "Bash", .toolName = "Bash", .toolCallId = "t", .input = "{}"}}},
        Turn{"announceWhatIsThought",
             {reply("a", R"({"type":"thinking","thinking":"Hm."},{"type":"thinking","thinking":""})")},
             {Grow{.text = "Hm.", .isNewMessage = true, .kind = GrowthKind::reasoning}}},
        Turn{"tellThatTheyAreAskedForAgain",
             {inSession("s", R"("type":"system","subtype":"api_retry","attempt":1,"max_retries":10,)"
                             R"("retry_delay_ms":500,"error_status":529,"error":"overloaded")")},
             {Retry{.reason = "overloaded, status 529, attempt 1 of 10", .after = std::chrono::milliseconds(500)}}},
        Turn{"withoutFiguresHaveNoUsage", {reply("a", "", usage(0, 0))}, {}}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    ToolResults, ClaudeTurnTest,
    testing::Values(
        Turn{"completeOrFail",
             {inSession("s", R"("type":"user","message":{"content":[)"
                             R"({"type":"tool_result","tool_use_id":"t","content":"one"},{"type":"text","text":"no"},)"
                             R"({"type":"tool_result","tool_use_id":"u","content":[{"text":"a"},7,{"text":"b"}],)"
                             R"("is_error":true}]})")},
             {CompleteToolInvocation{"t", "one", ToolOutcome::completed},
              CompleteToolInvocation{"u", "a\nb", ToolOutcome::failed}}},
        Turn{"ofSubagentsToo",
             {inSession("s", R"("type":"user","parent_tool_use_id":"p","message":{"content":[)"
                             R"({"type":"tool_result","tool_use_id":"t","is_error":false}]})")},
             {CompleteToolInvocation{"t", "", ToolOutcome::completed}}}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(WordsInAModelsPlace, ClaudeTurnTest,
                         testing::Values(Turn{"waitForTheNextEvent", {kSynthetic}, {}},
                                         Turn{"areNotShownBesideTheSameFailure",
                                              {kSynthetic, result(R"("is_error":true,"result":"API Error: no")")},
                                              {Fail{"API Error: no"}}},
                                         Turn{"areShownBeforeAnotherFailure",
                                              {kSynthetic, result(R"("is_error":true,"result":"other")")},
                                              {shown(kSynthetic, "API Error: no", "x", "<synthetic>"), Fail{"other"}}},
                                         Turn{"areShownBeforeTheNextReply",
                                              {kSynthetic, kHello},
                                              {shown(kSynthetic, "API Error: no", "x", "<synthetic>"),
                                               shown(kHello, "Hello.")}},
                                         Turn{"areShownBeforeACompaction",
                                              {kSynthetic, kBoundary},
                                              {shown(kSynthetic, "API Error: no", "x", "<synthetic>"),
                                               AppendCompactionEvent{kBoundary, "Context compacted"}}},
                                         Turn{"areShownWhereTheTurnSucceeds",
                                              {kSynthetic, result(R"("result":"API Error: no")")},
                                              {shown(kSynthetic, "API Error: no", "x", "<synthetic>"), Finish{}}}),
                         [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Results, ClaudeTurnTest,
    testing::Values(
        Turn{"correctTheOutputOfTheOneReply",
             {reply("a", "", usage(5, 1)), result(R"("usage":{"input_tokens":5,"output_tokens":9})")},
             {used("a", 5, 1, 6), used("a", 5, 9, 6), Finish{}}},
        Turn{"correctTheConversationsAloneAfterSeveralReplies",
             {reply("a", "", usage(5, 1)), reply("b", "", usage(6, 1)),
              result(R"("usage":{"input_tokens":11,"output_tokens":9})")},
             {used("a", 5, 1, 6), used("b", 6, 1, 7), used(std::nullopt, 6, 9, 7), Finish{}}},
        Turn{"withoutOutputCorrectNothing",
             {reply("a", "", usage(5, 1)), result(R"("usage":{"output_tokens":0})")},
             {used("a", 5, 1, 6), Finish{}}},
        Turn{"areShownWhereNothingElseWas",
             {kSlash},
             {AppendAgentMessage{.rawJSON = kSlash, .text = "3k of 200k tokens"}, Finish{}}},
        Turn{"areNotShownAgain", {kHello, result(R"("result":"Hello.")")}, {shown(kHello, "Hello."), Finish{}}},
        Turn{"endATurnOnce",
             {kHello, result(), kBye, result(R"("result":"Bye.","modelUsage":{"m":{"contextWindow":9}})"),
              result(R"("is_error":true,"result":"late failure")")},
             {shown(kHello, "Hello."), Finish{}, shown(kBye, "Bye.", "b"), ApplyContextWindow{9}}},
        Turn{"mayBeLimits",
             {result(R"("is_error":false,"subtype":"error_max_turns","errors":["Reached the maximum of 5 turns"])")},
             {Fail{.text = "Reached the maximum of 5 turns", .cause = FailureCause::limit}}},
        Turn{"ofFailedTurnsMayHaveNoWords", {result(R"("is_error":true,"subtype":"why")")}, {Fail{"why"}}}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    MalformedLines, ClaudeTurnTest,
    testing::Values(Turn{"askForNothing",
                         {"", "plain text", "{", R"({"type":"assistant","message":)", "[1]", "null", "\"text\"",
                          R"({"type":null})", R"({"type":"assistant"})", R"({"type":"assistant","message":"text"})",
                          R"({"type":"assistant","message":{"content":{"type":"text","text":"no list"}}})",
                          R"({"type":"assistant","message":{"content":[1,"text",null,{"type":"text","text":5}]}})",
                          R"({"type":"user","message":{"content":[null,{"type":"tool_results"}]}})",
                          R"({"type":"system","message":{"content":[{"type":"text","text":"no"}]}})",
                          R"({"type":"of tomorrow","message":{"content":[{"type":"text","text":"no"}]}})",
                          R"({"type":"result"} trailing)"},
                         {}},
                    Turn{"doNotStopTheNext",
                         {R"({"type":"assistant","message":{"content":[{"type":"text","text":"cut)", kHello},
                         {shown(kHello, "Hello.")}}),
    [](const auto& info) { return info.param.name; });

TEST(ClaudeTurnTest, aSessionIsUnknownOnceTheResultSaysSo) {
  ClaudeTurn turn("s", std::nullopt);
  EXPECT_FALSE(turn.isSessionUnknown(""));
  turn.onLine(result(R"("is_error":true,"errors":["No conversation found with session ID: s"])"));
  EXPECT_TRUE(turn.isSessionUnknown(""));
}

TEST(ClaudeTurnTest, callsWithoutAnIdAreNotOne) {
  ClaudeTurn turn("s", std::nullopt);
  const std::string call = reply("a", R"({"type":"tool_use","name":"Bash"})");
  const std::string end = inSession("s", R"("type":"user","message":{"content":[{"type":"tool_result"}]})");
  const auto begin = [&] { return std::get<AppendToolInvocation>(transcriptAction(turn.onLine(call))).toolCallId; };
  const std::string first = begin();
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(std::get<CompleteToolInvocation>(transcriptAction(turn.onLine(end))).toolCallId, first);
  EXPECT_TRUE(turn.onLine(end).empty());
  EXPECT_NE(begin(), begin());
  EXPECT_TRUE(turn.onLine(end).empty()) << "nobody can tell whose it is";
}

TEST(ClaudeTurnTest, whatWasHeldBackComesOutWhenTheCommandEnds) {
  ClaudeTurn turn("s", std::nullopt);
  EXPECT_TRUE(turn.onLine(kSynthetic).empty());
  EXPECT_TRUE(turn.onCommandEnd() == Actions{shown(kSynthetic, "API Error: no", "x", "<synthetic>")});
  EXPECT_TRUE(turn.onCommandEnd().empty());
}

}  // namespace
}  // namespace ravant::test
