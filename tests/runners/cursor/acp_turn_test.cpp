#include "runners/cursor/acp_turn.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "runners/cursor/acp_unstored.hpp"

namespace ravant::test {
namespace {

using namespace turn;
using testing::ElementsAre;
using testing::IsEmpty;

using Actions = std::vector<Action>;

/// A turn of the model "m" that is told updates.
struct Told {
  Actions operator()(const std::string& update) {
    return turn.ingest(acp::parseUpdate(json::parse(update).as_object()), "line");
  }
  Actions said(std::string_view text, std::string_view kind = "agent_message_chunk") {
    return (*this)(json::serialize(
        json::object{{"sessionUpdate", kind}, {"content", json::object{{"type", "text"}, {"text", text}}}}));
  }
  Actions call(std::string_view id, std::string_view more, std::string_view kind = "tool_call_update") {
    return (*this)(fmt::format(R"({{"sessionUpdate":"{}","toolCallId":"{}"{}}})", kind, id, more));
  }
  Actions ended(std::string stopReason = "end_turn", std::optional<TokenUsageSnapshot> usage = {}) {
    return turn.onPromptEnd({.stopReason = std::move(stopReason), .usage = usage});
  }

  AcpTurn turn{"m"};
};

std::string shows(std::string_view text) {
  return fmt::format(R"(,"content":[{{"type":"content","content":{{"type":"text","text":"{}"}}}}])", text);
}

Action message(std::string text) {
  return AppendAgentMessage{.rawJSON = "line", .text = std::move(text), .agentModel = "m", .providerMessageId = {}};
}

/// What is stored and how the turn goes, without what is only announced while it grows.
Actions withoutGrowth(Actions actions) {
  std::erase_if(actions, [](const Action& action) { return std::holds_alternative<Grow>(action); });
  return actions;
}

// What agents of Cursor print when the stream of their model breaks, in pieces of any size.
TEST(AcpTurn, knowsABrokenStreamHoweverItIsCut) {
  const std::string_view said = "Half an Error.Error: RetriableError: WritableIterable is closed Done.";
  const Action retry = Retry{.reason = "Error: RetriableError: WritableIterable is closed"};
  for (std::size_t first = 0; first <= said.size(); ++first) {
    for (std::size_t second = first; second <= said.size(); second += 7) {
      Told told;
      Actions actions;
      for (const auto piece : {said.substr(0, first), said.substr(first, second - first), said.substr(second)}) {
        std::ranges::move(told.said(piece), std::back_inserter(actions));
      }
      std::ranges::move(told.ended(), std::back_inserter(actions));
      EXPECT_THAT(withoutGrowth(actions),
                  ElementsAre(message("Half an Error."), retry, message(" Done."), Action(Finish{})))
          << "cut at " << first << " and " << second;
    }
  }
}

TEST(AcpTurn, failsByABrokenStreamOnlyWhereNothingFollows) {
  const std::string words(AcpStreamBreak::kWords);
  Told broken;
  broken.said("Some words.");
  EXPECT_THAT(broken.said(words + "\n"),
              ElementsAre(message("Some words."), Action(Retry{words}), Action(Grow{"\n", true})));
  EXPECT_THAT(broken.ended(), ElementsAre(Action(Fail{words})));

  Told called;
  called.said(words);
  called.call("c", "", "tool_call");
  EXPECT_THAT(called.ended(), ElementsAre(Action(Finish{})));

  Told begun;
  begun.said(words.substr(0, 20));
  EXPECT_THAT(withoutGrowth(begun.ended()), ElementsAre(message(words.substr(0, 20)), Action(Finish{})));

  for (const std::string& quoted : {"It printed `" + words + "`.", "```\n" + words + "\n```", "\"" + words + "\""}) {
    Told told;
    told.said(quoted);
    EXPECT_THAT(withoutGrowth(told.ended()), ElementsAre(message(quoted), Action(Finish{})));
  }
}

TEST(AcpTurn, knowsABrokenStreamInsideCodeByWhatFollows) {
  const std::string words(AcpStreamBreak::kWords);
  for (const std::string& half : {"```cpp\nint main() {", "Press the ` key.", "He said \""}) {
    Told told;
    told.said(half);
    told.said(words.substr(0, 9));
    told.said(words.substr(9) + " \n");
    EXPECT_THAT(withoutGrowth(told.ended()), ElementsAre(message(half), Action(Retry{words}), Action(Fail{words})));
  }
  Told called;
  called.said("```\n" + words);
  EXPECT_THAT(called.call("c", "", "tool_call"), testing::Contains(Action(Retry{words})));
  EXPECT_THAT(called.ended(), ElementsAre(Action(Finish{})));

  Told quoted;
  for (const std::string_view piece :
       {std::string_view("```\n"), std::string_view(words), std::string_view("\n"), std::string_view("```")}) {
    quoted.said(piece);
  }
  EXPECT_THAT(withoutGrowth(quoted.ended()), ElementsAre(message("```\n" + words + "\n```"), Action(Finish{})));
}

TEST(AcpTurn, isNotGoneOnWithByAnOldCall) {
  const std::string words(AcpStreamBreak::kWords);
  Told told;
  told.call("c", "", "tool_call");
  told.said(words);
  told.call("c", R"(,"status":"completed")");
  EXPECT_THAT(told.ended(), ElementsAre(Action(Fail{words})));
}

TEST(AcpTurn, putsTheBeginningOfASecondBreakIntoItsOwnMessage) {
  const std::string words(AcpStreamBreak::kWords);
  Told told;
  EXPECT_THAT(withoutGrowth(told.said("Half." + words + words.substr(0, 9))),
              ElementsAre(message("Half."), Action(Retry{words})));
  EXPECT_THAT(withoutGrowth(told.ended()), ElementsAre(message(words.substr(0, 9)), Action(Finish{})));
}

TEST(AcpTurn, announcesThoughtsAndKeepsThemOutOfMessages) {
  Told told;
  EXPECT_THAT(told.said("Let me", "agent_thought_chunk"),
              ElementsAre(Action(Grow{"Let me", true, GrowthKind::reasoning})));
  EXPECT_THAT(told.said(" see.", "agent_thought_chunk"),
              ElementsAre(Action(Grow{" see.", false, GrowthKind::reasoning})));
  EXPECT_THAT(told.said("Seen."), ElementsAre(Action(Grow{"Seen.", true})));
  EXPECT_THAT(told.said("Or not?", "agent_thought_chunk"),
              ElementsAre(Action(Grow{"Or not?", true, GrowthKind::reasoning})));
  EXPECT_THAT(told.ended(), ElementsAre(message("Seen."), Action(Finish{})));
  EXPECT_THAT(told.said("Done, I think.", "agent_thought_chunk"), IsEmpty()) << "nobody waits for the agent any more";
}

TEST(AcpTurn, neverCountsWhatOnlyFillsTheContext) {
  Told told;
  EXPECT_THAT(told(R"({"sessionUpdate":"usage_update","used":120,"size":100})"),
              ElementsAre(Action(ApplyContextWindow{100}), Action(ApplyContextUse{100})));
  EXPECT_THAT(told.ended(), ElementsAre(Action(Finish{})));

  const TokenUsageSnapshot counts{.inputTokens = 8, .outputTokens = 2, .usedTokens = 90, .totalProcessedTokens = 90};
  Told next{AcpTurn("m", &told.turn)};
  EXPECT_THAT(next(R"({"sessionUpdate":"usage_update","used":60,"size":100})"),
              ElementsAre(Action(ApplyContextUse{60})));
  TokenUsageSnapshot applied = counts;
  applied.usedTokens = 60;
  applied.maxTokens = 100;
  EXPECT_THAT(next.ended("end_turn", counts), ElementsAre(Action(ApplyUsage{{}, applied}), Action(Finish{})));

  Told last{AcpTurn("m", &next.turn)};
  EXPECT_THAT(last(R"({"sessionUpdate":"usage_update","used":0,"size":100})"), IsEmpty());
  applied.usedTokens = 90;
  EXPECT_THAT(last.ended("end_turn", counts), ElementsAre(Action(ApplyUsage{{}, applied}), Action(Finish{})))
      << "what the prompt before told of the context is old";
}

TEST(AcpTurn, endsAtALimitAsSuch) {
  const auto causeOf = [](const std::string& stopReason) {
    return std::get<Fail>(Told().ended(stopReason).back()).cause;
  };
  EXPECT_EQ(causeOf("max_tokens"), FailureCause::limit);
  EXPECT_EQ(causeOf("max_turn_requests"), FailureCause::limit);
  EXPECT_EQ(causeOf("refusal"), FailureCause::error);
}

TEST(AcpTurn, keepsWhatACallHasShown) {
  const auto completed = [](std::string output, ToolOutcome outcome = ToolOutcome::completed) {
    return Action(CompleteToolInvocation{.toolCallId = "c", .output = std::move(output), .outcome = outcome});
  };
  Told told;
  told.call("c", shows("one"), "tool_call");
  EXPECT_THAT(told.call("c", R"(,"status":"in_progress")" + shows("one")), IsEmpty());
  Told next{AcpTurn("m", &told.turn)};
  EXPECT_THAT(next.call("c", R"(,"status":"failed","content":[])"), ElementsAre(completed("one", ToolOutcome::failed)));
  Told last{AcpTurn("m", &next.turn)};
  EXPECT_THAT(last.call("c", R"(,"status":"completed","rawOutput":{"exitCode":0})"), IsEmpty());
  EXPECT_THAT(last.call("c", R"(,"status":"completed")" + shows("two")), ElementsAre(completed("two")));
}

std::string outputOf(const Action& action) {
  return std::get<UpdateToolInvocation>(std::get<TranscriptAction>(action)).output.value();
}

TEST(AcpTurn, storesALongOutputInStepsAndItsEndInFull) {
  Told told;
  told.call("c", "", "tool_call");
  const std::string line = std::string(800, '.') + "\\n";
  std::string log;
  std::size_t stored = 0;
  std::string last;
  while (log.size() < 200'000) {
    log += line;
    for (const Action& step : told.call("c", shows(log))) stored += (last = outputOf(step)).size();
  }
  EXPECT_LT(stored, 30 * log.size());
  const Actions rest = told.turn.close();
  ASSERT_THAT(rest, testing::SizeIs(1));
  EXPECT_TRUE(outputOf(rest[0]).starts_with(last));
  EXPECT_GT(outputOf(rest[0]).size(), last.size());
  EXPECT_THAT(told.turn.close(), IsEmpty());

  const std::string huge(3 * 1024 * 1024, 'x');
  const Actions step = told.call("c", shows(huge));
  ASSERT_THAT(step, testing::SizeIs(1));
  EXPECT_THAT(outputOf(step[0]), testing::StartsWith("[the beginning of the output is left out]\nxxx"));
  EXPECT_EQ(outputOf(step[0]).size(), 1024 * 1024);
  EXPECT_THAT(told.call("c", R"(,"status":"completed")"),
              ElementsAre(Action(
                  CompleteToolInvocation{.toolCallId = "c", .output = huge, .outcome = ToolOutcome::completed})));
}

TEST(AcpTurn, namesImagesAndKeepsTheirDataOut) {
  std::string data;
  while (data.size() < 4000) data += "iVBORw0KGgo/";
  const std::string block = R"({"type":"image","mimeType":"image/png","data":")" + data + "\"}";
  const auto completed = [](std::string output) {
    return Action(
        CompleteToolInvocation{.toolCallId = "c", .output = std::move(output), .outcome = ToolOutcome::completed});
  };
  Told told;
  told.call("c", "", "tool_call");
  EXPECT_THAT(told.call("c", R"(,"status":"completed","content":[{"type":"content","content":)" + block +
                                 R"(}],"rawOutput":{"image":")" + data + "\"}"),
              ElementsAre(completed("[image]")));
  told.call("c", "", "tool_call");
  const std::string size = std::to_string(data.size());
  EXPECT_THAT(told.call("c", R"(,"status":"completed","rawOutput":{"image":)" + block + "}"),
              ElementsAre(completed(R"({"image":{"type":"image","mimeType":"image/png","data":"[)" + size +
                                    R"( bytes of Base64]"}})")));
  told.call("c", "", "tool_call");
  const std::string plain = std::string(3000, '=') + " /usr/lib " + std::string(3000, 'f');
  EXPECT_THAT(told.call("c", R"(,"status":"completed","rawOutput":")" + plain + "\""), ElementsAre(completed(plain)));
  told(R"({"sessionUpdate":"agent_message_chunk","content":)" + block + "}");
  EXPECT_THAT(withoutGrowth(told.ended()), ElementsAre(message("[image]"), Action(Finish{})));
}

TEST(AcpTurn, hasNoIdsThatAreEmpty) {
  Told told{AcpTurn("")};
  EXPECT_THAT(told.call("", "", "tool_call"), IsEmpty());
  told(R"({"sessionUpdate":"agent_message_chunk","messageId":"","content":{"type":"text","text":"Hi."}})");
  EXPECT_THAT(told.ended(),
              ElementsAre(Action(AppendAgentMessage{
                              .rawJSON = "line", .text = "Hi.", .agentModel = {}, .providerMessageId = {}}),
                          Action(Finish{})));
}

TEST(AcpUnstored, hasOfEachCallTheLastUpdateOnly) {
  const auto update = [](std::string id, std::string output) {
    return Action(UpdateToolInvocation{.toolCallId = std::move(id), .output = std::move(output)});
  };
  const Action ended = CompleteToolInvocation{.toolCallId = "b", .output = "b2", .outcome = ToolOutcome::completed};
  const Action again = AppendToolInvocation{.rawJSON = {}, .text = "a", .toolName = "a", .toolCallId = "a"};
  Actions unstored;
  addUnstored(unstored,
              {UpdateToolInvocation{.toolCallId = "a", .toolName = "ls"}, update("b", "b1"), update("a", "a1")});
  addUnstored(unstored, {update("a", "a2"), ended, again, update("a", "new")});
  EXPECT_THAT(unstored, ElementsAre(Action(UpdateToolInvocation{.toolCallId = "a", .toolName = "ls", .output = "a2"}),
                                    Action(UpdateToolInvocation{.toolCallId = "b"}), ended, again, update("a", "new")));
}

}  // namespace
}  // namespace ravant::test
