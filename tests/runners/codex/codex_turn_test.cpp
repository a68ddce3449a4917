#include "runners/codex/codex_turn.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>

#include "core/store/transcript_writer.hpp"
#include "runners/codex/codex_tool_text.hpp"

namespace ravant::test {
namespace {

using namespace turn;
using testing::ElementsAre;
using testing::IsEmpty;

/// A turn of the model "m" that is given notifications.
struct Told {
  std::vector<Action> operator()(std::string_view method, const std::string& params) {
    const json::value parsed = json::parse(params);
    return turn.ingest(method, parsed.as_object(), "line");
  }
  std::vector<Action> completed(const std::string& item, const std::string& turnId = "t1") {
    return (*this)("item/completed", fmt::format(R"({{"turnId":"{}","item":{}}})", turnId, item));
  }

  std::vector<Action> started(const std::string& item) {
    return (*this)("item/started", fmt::format(R"({{"turnId":"t1","item":{}}})", item));
  }
  std::vector<Action> printed(const std::string& delta, const std::string& callId = "c") {
    return (*this)("item/commandExecution/outputDelta",
                   fmt::format(R"({{"turnId":"t1","itemId":"{}","delta":"{}"}})", callId, delta));
  }

  CodexTurn turn{"m"};
};

AppendAgentMessage message(std::string text, std::optional<std::string> id) {
  return {.rawJSON = "line", .text = std::move(text), .agentModel = "m", .providerMessageId = std::move(id)};
}

TEST(CodexTurn, isOverWhenItEndedBeforeItWasNamed) {
  Told told;
  EXPECT_THAT(told("turn/completed", R"({"turn":{"id":"t0"}})"), IsEmpty());
  EXPECT_THAT(told("turn/failed", R"({"turnId":"t1","error":{"message":"x"}})"), IsEmpty());
  EXPECT_FALSE(told.turn.isOver());
  EXPECT_THAT(told.turn.onStarted("t1"), ElementsAre(Action(Fail{"x"})));
  EXPECT_TRUE(told.turn.isOver());
}

TEST(CodexTurn, isNotEndedByAnotherTurn) {
  Told told;
  EXPECT_THAT(told.turn.onStarted("t1"), IsEmpty());
  EXPECT_THAT(told("turn/completed", R"({"turn":{"id":"t0","status":"failed"}})"), IsEmpty());
  EXPECT_THAT(told("turn/completed", R"({"turn":{"id":"t1"}})"), ElementsAre(Action(Finish{})));
  EXPECT_THAT(told("turn/completed", R"({"turn":{"id":"t1"}})"), IsEmpty()) << "it is over once";
}

TEST(CodexTurn, growsWithItsMessages) {
  Told told;
  EXPECT_THAT(told("item/agentMessage/delta", R"({"itemId":"a","delta":"Hel"})"),
              ElementsAre(Action(Grow{"Hel", true})));
  EXPECT_THAT(told("item/agentMessage/delta", R"({"itemId":"a","delta":"lo"})"),
              ElementsAre(Action(Grow{"lo", false})));
  EXPECT_THAT(told("item/agentMessage/delta", R"({"itemId":"b","delta":"x"})"), ElementsAre(Action(Grow{"x", true})));
}

TEST(CodexTurn, keepsWhatALaterReportLeavesOut) {
  Told told;
  EXPECT_THAT(told.completed(R"({"type":"t","id":"c","arguments":"in","output":"out"})"), testing::SizeIs(1));
  EXPECT_THAT(told.completed(R"({"type":"t","id":"c"})"),
              ElementsAre(Action(CompleteToolInvocation{"c", "out", ToolOutcome::completed})));
  EXPECT_THAT(told.completed(R"({"type":"t","id":"c","arguments":"in","output":"more","status":"failed"})"),
              ElementsAre(Action(CompleteToolInvocation{"c", "more", ToolOutcome::failed})));
}

TEST(CodexTurn, finishesWhatAnEarlierTurnBeganEvenBeforeItIsNamed) {
  Told told{.turn = CodexTurn("m", {"t0"})};
  EXPECT_THAT(told.completed(R"({"type":"t","id":"c","output":"late"})", "t0"),
              ElementsAre(Action(CompleteToolInvocation{"c", "late", ToolOutcome::completed})));
}

TEST(CodexTurn, takesBackNothingThatAnEarlierTurnHasShown) {
  Told first;
  for (const std::string id : {"a", "b"}) {
    first.started(fmt::format(R"({{"type":"commandExecution","id":"{}","command":"x","status":"inProgress"}})", id));
    first.printed("shown", id);
  }
  first.turn.close();

  Told second{.turn = CodexTurn("m", {"t1"}, first.turn.shownOutputs())};
  second.turn.onStarted("t2");
  EXPECT_THAT(second.completed(R"({"type":"commandExecution","id":"a","aggregatedOutput":null,"exitCode":3})"),
              ElementsAre(Action(CompleteToolInvocation{"a", "shown\nexit code 3", ToolOutcome::completed})));

  Told third{.turn = CodexTurn("m", {"t1", "t2"}, second.turn.shownOutputs())};
  EXPECT_THAT(third.completed(R"({"type":"commandExecution","id":"b","aggregatedOutput":null})"),
              ElementsAre(Action(CompleteToolInvocation{"b", "shown", ToolOutcome::completed})));
}

TEST(CodexTurn, takesAMessageInOnce) {
  Told told;
  const std::string hello = R"({"type":"agentMessage","id":"a","text":"Hello."})";
  EXPECT_THAT(told.completed(hello), ElementsAre(Action(message("Hello.", "a"))));
  EXPECT_THAT(told.completed(hello), IsEmpty());
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"a","text":"Another."})"),
              ElementsAre(Action(message("Another.", "a"))));
  told.started(R"({"type":"agentMessage","id":"a","text":""})");
  EXPECT_THAT(told.completed(hello), ElementsAre(Action(message("Hello.", "a")))) << "the id was begun anew";
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"","text":"Hello."})"),
              ElementsAre(Action(message("Hello.", std::nullopt))));
}

TEST(CodexTurn, keepsWhatHadGrownOfAMessageThatEndsBlank) {
  Told told;
  told("item/agentMessage/delta", R"({"itemId":"a","delta":"Grown."})");
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"a","text":" "})"),
              ElementsAre(Action(message("Grown.", "a"))));
  EXPECT_THAT(told.turn.close(), IsEmpty());
}

TEST(CodexTurn, putsAnAbandonedMessageWhereItWasBegun) {
  Told told;
  told("item/agentMessage/delta", R"({"itemId":"a","delta":"Only "})");
  told("item/agentMessage/delta", R"({"itemId":"b","delta":"Fi"})");
  told("item/agentMessage/delta", R"({"itemId":"a","delta":"half"})");
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"b","text":"Final."})"),
              ElementsAre(Action(message("Only half", "a")), Action(message("Final.", "b"))));
  told("item/agentMessage/delta", R"({"itemId":"d","delta":"Looking"})");
  EXPECT_THAT(told.started(R"({"type":"webSearch","id":"c","query":"q"})"),
              ElementsAre(Action(message("Looking", "d")), testing::_));
  // It was not abandoned after all: nothing of it stands there twice.
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"d","text":"Looking it up."})"),
              ElementsAre(Action(message(" it up.", "d"))));
}

TEST(CodexTurn, takesAnIdThatIsUsedAgainForAnotherCall) {
  Told told;
  const std::string running = R"({"type":"commandExecution","id":"c","command":"a","status":"inProgress"})";
  const std::string done = R"({"type":"commandExecution","id":"c","command":"a","aggregatedOutput":"o"})";
  const auto isNewCall =
      ElementsAre(testing::VariantWith<TranscriptAction>(testing::VariantWith<AppendToolInvocation>(testing::_)));
  EXPECT_THAT(told.started(running), isNewCall);
  EXPECT_THAT(told.started(running), IsEmpty()) << "told again";
  told.completed(done);
  EXPECT_THAT(told.started(running), isNewCall);
  EXPECT_THAT(told.completed(done), ElementsAre(Action(CompleteToolInvocation{"c", "o", ToolOutcome::completed})));

  Told overtaken;
  EXPECT_THAT(overtaken.completed(done), isNewCall);
  EXPECT_THAT(overtaken.started(running), IsEmpty()) << "its end came first";
  EXPECT_THAT(overtaken.started(running), isNewCall);
}

TEST(CodexTurn, endsACallThatIsAnnouncedAfterTheTurn) {
  const auto isEnded = ElementsAre(testing::VariantWith<TranscriptAction>(testing::VariantWith<AppendToolInvocation>(
      testing::AllOf(testing::Field(&AppendToolInvocation::status, ToolInvocationStatus::failed),
                     testing::Field(&AppendToolInvocation::output, std::string(kUnfinishedTool))))));
  const std::string running = R"({"type":"commandExecution","id":"c","command":"a","status":"inProgress"})";
  Told told;
  told.turn.close();
  EXPECT_THAT(told.started(running), isEnded);
  told.printed("late");
  EXPECT_THAT(told.turn.takeOutputs(), IsEmpty()) << "it would take the place of the words that tell of the end";
  EXPECT_THAT(told.completed(R"({"type":"commandExecution","id":"c","command":"a","aggregatedOutput":"o"})"),
              ElementsAre(Action(CompleteToolInvocation{"c", "o", ToolOutcome::completed})));

  Told next{.turn = CodexTurn("m", {"t1"})};
  EXPECT_THAT(next.started(running), isEnded);
}

TEST(CodexTurn, showsTheOutputOfARunningCommandOnceForWhatArrivesTogether) {
  Told told;
  told.printed("nobody's");
  told.started(R"({"type":"commandExecution","id":"c","command":"a","status":"inProgress"})");
  EXPECT_THAT(told.printed("one\\n"), IsEmpty());
  EXPECT_THAT(told.printed("two\\n"), IsEmpty());
  EXPECT_THAT(told.turn.takeOutputs(),
              ElementsAre(Action(UpdateToolInvocation{.toolCallId = "c", .output = "one\ntwo\n"})));
  EXPECT_THAT(told.turn.takeOutputs(), IsEmpty());
  told.printed("three\\n");
  EXPECT_THAT(
      told.completed(
          R"({"type":"commandExecution","id":"c","command":"a","status":"failed","aggregatedOutput":null,"exitCode":3})"),
      ElementsAre(Action(CompleteToolInvocation{"c", "one\ntwo\nthree\nexit code 3", ToolOutcome::failed})));
  EXPECT_THAT(told.turn.takeOutputs(), IsEmpty());
}

TEST(CodexTurn, doesNotTellALongOutputAgainForEachPiece) {
  Told told;
  told.started(R"({"type":"commandExecution","id":"c","command":"a","status":"inProgress"})");
  const std::string piece(100, 'x');
  std::size_t toldBytes = 0;
  std::string shown;
  const auto takeIn = [&](const std::vector<Action>& actions) {
    for (const Action& action : actions) {
      shown = *std::get<UpdateToolInvocation>(std::get<TranscriptAction>(action)).output;
      toldBytes += shown.size();
    }
  };
  for (int i = 0; i < 8000; ++i) {
    told.printed(piece);
    takeIn(told.turn.takeOutputs());
  }
  EXPECT_LT(toldBytes, 20U * 800'000) << "whole each time, it would be 3.2 GB";
  takeIn(told.turn.close());
  EXPECT_EQ(shown.size(), 800'000U);

  Told endless;
  endless.started(R"({"type":"commandExecution","id":"c","command":"a","status":"inProgress"})");
  for (int i = 0; i < 30; ++i) endless.printed(std::string(99'998, 'y') + "\\n");
  takeIn(endless.turn.takeOutputs());
  EXPECT_THAT(shown, testing::StartsWith("[the beginning of the output is left out]\nyyy"));
  EXPECT_LT(shown.size(), 1'100'000U);
}

TEST(CodexTurn, tellsOfReasoningAndOfWhatIsTriedAgain) {
  Told told;
  const auto reasoning = [](std::string text, bool isNew) {
    return ElementsAre(Action(Grow{std::move(text), isNew, GrowthKind::reasoning}));
  };
  const std::string_view summary = "item/reasoning/summaryTextDelta";
  EXPECT_THAT(told(summary, R"({"itemId":"r","delta":"I sh","summaryIndex":0})"), reasoning("I sh", true));
  EXPECT_THAT(told(summary, R"({"itemId":"r","delta":"ould","summaryIndex":0})"), reasoning("ould", false));
  EXPECT_THAT(told(summary, R"({"itemId":"r","delta":"Then","summaryIndex":1})"), reasoning("Then", true));
  EXPECT_THAT(told("item/reasoning/textDelta", R"({"itemId":"r","delta":"raw","contentIndex":1})"),
              reasoning("raw", true));

  EXPECT_THAT(told("error", R"({"error":{"message":"Reconnecting... 1/5"},"willRetry":true})"),
              ElementsAre(Action(Retry{.reason = "Reconnecting... 1/5"})));
  EXPECT_THAT(told("error", R"({"error":{"message":"Again","additionalDetails":"stream lost"},"willRetry":true})"),
              ElementsAre(Action(Retry{.reason = "Again: stream lost"})));
}

TEST(CodexTurn, failsWithAllThatIsSaidOfTheFailure) {
  const auto failure = ElementsAre(Action(Fail{"Stream lost: the proxy closed it"}));
  Told told;
  told.turn.onStarted("t1");
  told("error", R"({"turnId":"t1","error":{"message":"Stream lost","additionalDetails":"the proxy closed it"}})");
  EXPECT_THAT(told("turn/failed", R"({"turnId":"t1","error":{"message":"Stream lost"}})"), failure);

  Told atOnce;
  atOnce.turn.onStarted("t1");
  EXPECT_THAT(atOnce("turn/completed", R"({"turn":{"id":"t1","status":"failed","error":)"
                                       R"({"message":"Stream lost","additionalDetails":"the proxy closed it"}}})"),
              failure);
}

TEST(CodexTurn, saysWhenALimitEndedIt) {
  const auto causeOf = [](const std::string& info) {
    Told told;
    told.turn.onStarted("t1");
    const auto end =
        told("turn/completed", fmt::format(R"({{"turn":{{"id":"t1","status":"failed","error":{{"message":"x",)"
                                           R"("codexErrorInfo":{}}}}}}})",
                                           info));
    EXPECT_THAT(end, testing::SizeIs(1));
    return std::get<Fail>(end.front()).cause;
  };
  for (const std::string limit : {R"("contextWindowExceeded")", R"("usageLimitExceeded")", R"("sessionBudgetExceeded")",
                                  R"({"rateLimitExceeded":{"resetsAt":1}})"}) {
    EXPECT_EQ(causeOf(limit), FailureCause::limit) << limit;
  }
  for (const std::string other : {R"("other")", R"({"httpConnectionFailed":{"httpStatusCode":500}})", "null"}) {
    EXPECT_EQ(causeOf(other), FailureCause::error) << other;
  }
}

TEST(CodexTurn, dropsAnAbsurdUsageReportAndNothingElse) {
  Told told;
  EXPECT_THAT(told("thread/tokenUsage/updated",
                   R"({"tokenUsage":{"last":{"inputTokens":9223372036854775807,"outputTokens":9}}})"),
              IsEmpty());
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"a","text":"Hello."})"), testing::SizeIs(1));
}

TEST(CodexTurn, storesNothingOfWhatOnlyPassesBy) {
  Told told;
  told.started(R"({"type":"fileChange","id":"c","status":"inProgress"})");
  for (const std::string_view method :
       {"item/agentMessage/delta", "item/commandExecution/outputDelta", "item/fileChange/outputDelta",
        "item/reasoning/summaryTextDelta", "item/reasoning/textDelta", "item/reasoning/summaryPartAdded",
        "item/plan/delta", "codex/event/reasoning_content_delta", "turn/started", "thread/started",
        "thread/status/changed"}) {
    const auto actions = told(method, R"({"itemId":"x","delta":"d","threadId":"t","turn":{"id":"t1"}})");
    EXPECT_TRUE(std::ranges::all_of(actions, [](const Action& action) { return std::holds_alternative<Grow>(action); }))
        << method;
  }
}

struct ToolRow {
  std::string name;
  std::string item;  ///< complete, with the call id "c"
  std::string toolName;
  std::optional<std::string> input;
  std::string output;
  ToolInvocationStatus status = ToolInvocationStatus::completed;
};
std::ostream& operator<<(std::ostream& stream, const ToolRow& row) { return stream << row.name; }

class CodexTools : public testing::TestWithParam<ToolRow> {};

TEST_P(CodexTools, haveANameAnInputAndAnOutput) {
  const auto& [name, item, toolName, input, output, status] = GetParam();
  EXPECT_THAT(Told().completed(item), ElementsAre(Action(AppendToolInvocation{.rawJSON = "line",
                                                                              .text = toolName,
                                                                              .toolName = toolName,
                                                                              .toolCallId = "c",
                                                                              .input = input,
                                                                              .output = output,
                                                                              .status = status})));
}

using enum ToolInvocationStatus;
INSTANTIATE_TEST_SUITE_P(
    All, CodexTools,
    testing::Values(
        ToolRow{
            "documentedKeys",
            R"({"type":"t","call_id":"c","id":"i","name":"n","tool":"x","arguments":"a","command":"y","output":"o"})",
            "n", "a", "o"},
        ToolRow{"otherKeys",
                R"({"itemType":"t","id":"c","toolName":"n","input":{"k":1},"output":"o","status":"success"})", "n",
                R"({"k":1})", "o"},
        ToolRow{"wrapped", R"({"payload":{"type":"t","id":"c","name":"n","output":"o"}})", "n", std::nullopt, "o"},
        ToolRow{"outputWithExitCode",
                R"({"type":"t","id":"c","name":"n","output":"{\"output\":\"o\",\"metadata\":{\"exit_code\":3}}"})", "n",
                std::nullopt, "o\nexit code 3"},
        ToolRow{
            "outputInBlocks",
            R"({"type":"t","id":"c","output":[{"type":"output_text","text":"a"},{"type":"input_text","text":"b"}]})",
            "t", std::nullopt, "a\nb"},
        ToolRow{"outputThatIsJson", R"({"type":"t","id":"c","output":"{\"output\":\"o\"}"})", "t", std::nullopt,
                R"({"output":"o"})"},
        ToolRow{"error", R"({"type":"t","id":"c","output":"o","status":"error"})", "t", std::nullopt, "o", failed},
        ToolRow{"declined", R"({"type":"commandExecution","id":"c","command":"rm x","status":"declined"})", "shell",
                "rm x", "", failed},
        ToolRow{"silentCommand",
                R"({"type":"commandExecution","id":"c","command":"false","exitCode":1,"status":"failed"})", "shell",
                "false", "exit code 1", failed},
        ToolRow{"structuredResult",
                R"({"type":"mcpToolCall","id":"c","server":"s","tool":"t","arguments":{},)"
                R"("result":{"content":[],"structuredContent":{"n":1}}})",
                "s.t", "{}", R"({"n":1})"},
        ToolRow{"dynamic",
                R"({"type":"dynamicToolCall","id":"c","namespace":"n","tool":"t","arguments":{"a":1},)"
                R"("contentItems":[{"type":"inputText","text":"done"}],"success":true,"status":"completed"})",
                "t", R"({"a":1})", "done"},
        ToolRow{"imageOfAServer",
                R"({"type":"mcpToolCall","id":"c","server":"s","tool":"t","arguments":{},"result":{"content":)"
                R"([{"type":"text","text":"see"},{"type":"image","data":"iVBORw0KGgo=","mimeType":"image/png"},)"
                R"({"type":"resource","resource":{"uri":"file:///r","text":"of a file"}}]}})",
                "s.t", "{}", "see\n[image]\nof a file"},
        ToolRow{"onlyAnImage",
                R"({"type":"mcpToolCall","id":"c","server":"s","tool":"t","arguments":{},)"
                R"("result":{"content":[{"type":"image","data":"iVBORw0KGgo="}],"structuredContent":null}})",
                "s.t", "{}", "[image]"},
        ToolRow{
            "structuredImage",
            R"({"type":"mcpToolCall","id":"c","server":"s","tool":"t","arguments":{},"result":{"content":[],)"
            R"("structuredContent":{"n":1,"picture":"iVBORw0KGgo=","all":[{"type":"image","data":"AAAA"},"see"]}}})",
            "s.t", "{}", R"({"n":1,"picture":"[image]","all":["[image]","see"]})"},
        ToolRow{"unknownImage", R"({"type":"t","id":"c","result":"data:image/png;base64,AAAA"})", "t", std::nullopt,
                "[image]"},
        ToolRow{"unknownData", fmt::format(R"({{"type":"t","id":"c","results":["see","{}"]}})", std::string(4096, 'A')),
                "t", std::nullopt, R"(["see","[data]"])"},
        ToolRow{"emptyResult",
                R"({"type":"mcpToolCall","id":"c","server":"s","tool":"t","arguments":{},"result":{"content":[]}})",
                "s.t", "{}", ""},
        ToolRow{"dynamicImage",
                R"({"type":"dynamicToolCall","id":"c","tool":"t","arguments":{},)"
                R"("contentItems":[{"type":"inputImage","imageUrl":"data:image/png;base64,iVBORw0KGgo="}]})",
                "t", "{}", "[image]"},
        ToolRow{"madeImage",
                R"({"type":"imageGeneration","id":"c","revisedPrompt":"a raven","result":"iVBORw0KGgo=",)"
                R"("savedPath":"/p/raven.png"})",
                "image_generation", "a raven", "[image] /p/raven.png"},
        ToolRow{"changedFiles",
                R"({"type":"fileChange","id":"c","changes":[)"
                R"({"path":"/a","kind":{"type":"update","move_path":null},"diff":"@@ -1 +1 @@\n-a\n+b\n"},)"
                R"({"path":"/b","kind":{"type":"add"},"diff":"x\n"},{"path":"/d","kind":{"type":"delete"},"diff":""},)"
                R"({"path":"/e","kind":{"type":"update","move_path":"/f"},"diff":"@@ -2 +2 @@\n-c\n+d\n"}]})",
                "apply_patch", "/a\n/b\n/d\n/e",
                "/a\n@@ -1 +1 @@\n-a\n+b\n\n/b (added)\nx\n\n/d (deleted)\n\n/e (moved to /f)\n@@ -2 +2 @@\n-c\n+d"},
        ToolRow{"wrappedCommand",
                R"({"type":"commandExecution","id":"c","command":"/bin/bash -lc 'echo one; exit 3'",)"
                R"("aggregatedOutput":"one\n","exitCode":3,"status":"failed"})",
                "shell", "echo one; exit 3", "one\nexit code 3", failed}),
    [](const auto& info) { return info.param.name; });

TEST(CodexTurn, keepsTheExitCodeOfAnOutput) {
  EXPECT_EQ(codex::decodeCodexToolOutput(R"({"output":"o","metadata":{"exit_code":3}})"),
            (codex::ToolOutput{.text = "o", .exitCode = 3}));
}

}  // namespace
}  // namespace ravant::test
