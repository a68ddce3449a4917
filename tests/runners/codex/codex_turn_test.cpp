#include "runners/codex/codex_turn.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <ostream>

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

  CodexTurn turn{"m"};
};

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

TEST(CodexTurn, takesAMessageInOnce) {
  Told told;
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"a","text":"Hello."})"), testing::SizeIs(1));
  EXPECT_THAT(told.completed(R"({"type":"agentMessage","id":"a","text":"Hello."})"), IsEmpty());
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
                std::nullopt, "o"},
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
                "t", R"({"a":1})", "done"}),
    [](const auto& info) { return info.param.name; });

TEST(CodexTurn, keepsTheExitCodeOfAnOutput) {
  EXPECT_EQ(codex::decodeCodexToolOutput(R"({"output":"o","metadata":{"exit_code":3}})"),
            (codex::ToolOutput{.text = "o", .exitCode = 3}));
}

}  // namespace
}  // namespace ravant::test
