#include "agent/message_list.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <random>
#include <set>

#include "agent/tool_call_id.hpp"
#include "core/overloaded.hpp"

namespace ravant::test {
namespace {

using Entries = std::vector<TranscriptEntry>;

TranscriptEntry user(std::string text) { return {TranscriptEntry::User{std::move(text)}}; }
TranscriptEntry agent(std::string text) { return {TranscriptEntry::Agent{std::move(text)}}; }
TranscriptEntry call(std::string id, std::string input = "{}", std::string output = "out", bool failed = false) {
  return {TranscriptEntry::ToolInvocation{.callId = std::move(id),
                                          .name = "bash",
                                          .input = std::move(input),
                                          .output = std::move(output),
                                          .failed = failed}};
}

/// A line a message; generated ids as `#`.
std::string summaryOf(const std::vector<RavantMessage>& messages) {
  std::string summary;
  for (const RavantMessage& message : messages) {
    std::visit(Overloaded{[&](const message::User& said) { summary += "user: " + said.text; },
                          [&](const message::Assistant& said) {
                            summary += "assistant: " + said.text;
                            for (const RavantToolCall& made : said.toolCalls) {
                              summary += fmt::format(" <{} {} {}>", made.id.size() == 9 ? "#" : made.id, made.name,
                                                     made.argumentsJSON);
                            }
                          },
                          [&](const message::ToolResult& result) {
                            summary += fmt::format("{} {}: {}", result.isError ? "error" : "result",
                                                   result.callId.size() == 9 ? "#" : result.callId, result.content);
                          }},
               message);
    summary += '\n';
  }
  return summary;
}

/// What providers refuse in a list of messages; empty where they take it.
std::string objectionTo(const std::vector<RavantMessage>& messages) {
  std::vector<std::string> awaited;
  for (const RavantMessage& message : messages) {
    if (const auto* result = std::get_if<message::ToolResult>(&message)) {
      if (awaited.empty() || awaited.front() != result->callId) return "a result without its call: " + result->callId;
      if (result->name.empty()) return "a result without a name";
      awaited.erase(awaited.begin());
      continue;
    }
    if (!awaited.empty()) return "a call without its result: " + awaited.front();
    const auto* assistant = std::get_if<message::Assistant>(&message);
    if (!assistant) continue;
    if (assistant->toolCalls.empty() && assistant->text.empty()) return "an assistant that says nothing";
    for (const RavantToolCall& made : assistant->toolCalls) {
      if (made.id.empty() || std::ranges::count(awaited, made.id) > 0) return "an id that is empty or not unique";
      if (!parseArguments(made.argumentsJSON)) return "arguments that are no object";
      awaited.push_back(made.id);
    }
  }
  return awaited.empty() ? "" : "a call without its result: " + awaited.front();
}

struct Rehydration {
  std::string name;
  Entries entries;
  std::string messages;
};

class RehydrationTest : public testing::TestWithParam<Rehydration> {};

TEST_P(RehydrationTest, givesAListThatProvidersAccept) {
  const auto messages = rehydratedTranscript(GetParam().entries);
  EXPECT_EQ(summaryOf(messages), GetParam().messages);
  EXPECT_EQ(objectionTo(messages), "");
}

INSTANTIATE_TEST_SUITE_P(
    MessageList, RehydrationTest,
    testing::Values(
        Rehydration{"aConversation",
                    {user("do it"), agent("I look."), call("a"), call("b", R"({"x":1})", "", true), agent("Done."),
                     user("thanks")},
                    "user: do it\nassistant: I look. <a bash {}> <b bash {\"x\":1}>\nresult a: out\nerror b: \n"
                    "assistant: Done.\nuser: thanks\n"},
        Rehydration{"callsBehindNoWords",
                    {user("do it"), call("a"), call("b"), user("more"), call("c")},
                    "user: do it\nassistant:  <a bash {}> <b bash {}>\nresult a: out\nresult b: out\nuser: more\n"
                    "assistant:  <c bash {}>\nresult c: out\n"},
        Rehydration{"idsThatComeAgain",
                    {user("do it"), agent("One."), call("call_0"), call("call_0"), agent("Two."), call("call_0")},
                    "user: do it\nassistant: One. <call_0 bash {}>\nresult call_0: out\n"
                    "assistant:  <call_0 bash {}>\nresult call_0: out\nassistant: Two. <call_0 bash {}>\n"
                    "result call_0: out\n"},
        Rehydration{"whatAModelGotWrong",
                    {user("do it"), call("", "not JSON"), call("b", "[1]"), call("c", "")},
                    "user: do it\nassistant:  <# bash > <b bash > <c bash >\nresult #: out\nresult b: out\n"
                    "result c: out\n"},
        Rehydration{"emptyMessages", {user(" "), agent(""), user("x"), agent("\n")}, "user: x\n"},
        Rehydration{"nothing", {}, ""}),
    [](const auto& info) { return info.param.name; });

TEST(MessageListTest, mistralGetsItsOwnIdsAndAnAnswerBehindResults) {
  const auto messages =
      rehydratedTranscript({user("do it"), call("call_0123456789abcdef"), call("Abc123xyZ"), user("and now?")});
  const RavantModel& mistral = *findRavantModel("codestral-latest");
  EXPECT_EQ(fittedTo(*findRavantModel("z-ai/glm-5.2"), messages), messages);
  const auto fitted = fittedTo(mistral, messages);
  EXPECT_EQ(objectionTo(fitted), "");
  EXPECT_EQ(fitted, fittedTo(mistral, messages)) << "the same in every request";
  EXPECT_EQ(summaryOf(fitted),
            "user: do it\nassistant:  <# bash {}> <# bash {}>\nresult #: out\nresult #: out\n"
            "assistant: (no answer)\nuser: and now?\n");
  const auto& calls = std::get<message::Assistant>(fitted.at(1)).toolCalls;
  EXPECT_THAT(calls[0].id, testing::MatchesRegex("[a-zA-Z0-9]{9}"));
  EXPECT_EQ(calls[1].id, "Abc123xyZ");
}

TEST(MessageListTest, namesAndArgumentsThatProvidersRefuseAreRepaired) {
  const message::Assistant fit = fitToBeSent(
      {.text = "", .toolCalls = {{"a", "read file", " \n"}, {"b", "", "{"}, {"c", std::string(70, 'x'), "{\"x\":1}"}}});
  EXPECT_THAT(fit.toolCalls,
              testing::ElementsAre(RavantToolCall{"a", "read_file", ""}, RavantToolCall{"b", "unknown", ""},
                                   RavantToolCall{"c", std::string(64, 'x'), "{\"x\":1}"}));
}

TEST(MessageListTest, argumentsWithHalfACharacterAreReadAndSentRepaired) {
  const std::string half = R"({"content":"a\ud83d"})";
  EXPECT_EQ(parseArguments(half), (json::object{{"content", "a\xef\xbf\xbd"}}));
  EXPECT_EQ(fitToBeSent({.text = "", .toolCalls = {{"a", "write_file", half}}}).toolCalls.at(0).argumentsJSON,
            "{\"content\":\"a\xef\xbf\xbd\"}");
}

TEST(ToolCallIdTest, idsDiffer) {
  std::set<std::string> generated;
  std::set<std::string> shortened;
  for (int i = 0; i < 1000; ++i) {
    generated.insert(generatedToolCallId());
    shortened.insert(nineCharacterId(fmt::format("call_{}", i)));
  }
  for (const auto& ids : {generated, shortened}) {
    EXPECT_EQ(ids.size(), 1000U);
    EXPECT_THAT(ids, testing::Each(testing::MatchesRegex("[a-zA-Z0-9]{9}")));
  }
}

TEST(MessageListTest, anyTranscriptGivesAListThatProvidersAccept) {
  std::mt19937 random(20261121);
  const auto pick = [&](std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random); };
  const std::vector<std::string> ids = {"a", "b", "", "call_0"};
  const std::vector<std::string> inputs = {"{}", "", "[", R"({"path":"x"})"};
  for (int round = 0; round < 2000; ++round) {
    Entries entries;
    for (std::size_t length = pick(12); length > 0; --length) {
      switch (pick(4)) {
        case 0:
          entries.push_back(user(pick(4) == 0 ? "" : "words"));
          break;
        case 1:
          entries.push_back(agent(pick(3) == 0 ? "" : "words"));
          break;
        default:
          entries.push_back(call(ids[pick(ids.size())], inputs[pick(inputs.size())], "out", pick(2) == 0));
          std::get<TranscriptEntry::ToolInvocation>(entries.back().step).name =
              pick(3) == 0 ? std::nullopt : std::optional<std::string>("bash");
      }
    }
    const auto messages = rehydratedTranscript(entries);
    ASSERT_EQ(objectionTo(messages), "") << summaryOf(messages);
  }
}

}  // namespace
}  // namespace ravant::test
