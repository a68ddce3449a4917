#include "agent/chat_turn_assembly.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <boost/json/serialize.hpp>

#include "agent/chat_completions_error.hpp"
#include "agent/chat_completions_wire.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

/// An event with one choice.
std::string delta(std::string_view members, std::string_view finishReason = "null") {
  return R"(data: {"id":"gen-1","choices":[{"index":0,"delta":{)" + std::string(members) + R"(},"finish_reason":)" +
         std::string(finishReason) + "}]}";
}

std::string toolCalls(std::string_view calls) { return delta(R"("tool_calls":[)" + std::string(calls) + "]"); }

struct Assembled {
  ChatTurn turn;
  std::vector<std::string> fragments;
  std::vector<std::string> thoughts;
};

Assembled assemble(const std::vector<std::string>& lines) {
  Assembled assembled;
  ChatTurnAssembly assembly(
      "Mistral", {.onText = [&](std::string_view fragment) { assembled.fragments.emplace_back(fragment); },
                  .onReasoning = [&](std::string_view fragment) { assembled.thoughts.emplace_back(fragment); }});
  for (const std::string& line : lines) {
    if (assembly.onLine(line) == ChatTurnAssembly::Progress::over) break;
  }
  assembled.turn = assembly.finish();
  return assembled;
}

std::string failureOf(const std::vector<std::string>& lines) {
  try {
    assemble(lines);
    return "none";
  } catch (const ChatCompletionsError& error) {
    return error.what();
  }
}

TEST(ChatTurnAssemblyTest, takesTextReasonUsageAndIdFromTheStream) {
  const auto [turn, fragments, thoughts] =
      assemble({": OPENROUTER PROCESSING", "", "event: message", delta(R"("role":"assistant","content":"")") + "\r",
                delta(R"("content":"Gr\u00fc\u00df")"), delta(R"("content":"e 🙂")", R"("stop")"),
                R"(data:{"id":"gen-1","choices":[],"usage":{"total_tokens":1}})",
                R"(data:   {"id":"gen-2","choices":[],"usage":{"total_tokens":7}}  )", "data: [DONE]",
                delta(R"("content":"behind the end")")});
  EXPECT_EQ(turn.text, "Grüße 🙂");
  EXPECT_THAT(fragments, ElementsAre("Grüß", "e 🙂"));
  EXPECT_EQ(turn.finishReason, "stop");
  EXPECT_EQ(turn.responseId, "gen-2");
  EXPECT_EQ(turn.usage, (json::object{{"total_tokens", 7}})) << "the last one, and still there";
  EXPECT_THAT(turn.toolCalls, IsEmpty());
}

TEST(ChatTurnAssemblyTest, skipsWhatIsMalformedAndEndsWithoutAnEndMark) {
  const auto [turn, fragments, thoughts] = assemble(
      {"data: {\"choices\":[", "data: 5", "data: {}", R"(data: {"choices":7,"usage":null,"id":3})",
       R"(data: {"choices":[null]})", R"(data: {"choices":[{"delta":null,"finish_reason":4}]})",
       delta(R"("content":null)"), delta(R"("content":["no text"],"tool_calls":{"index":0})"),
       R"(data: {"error":null,"choices":[{"delta":{"content":"one "}},{"delta":{"content":"another choice"}}]})",
       "data: {\"choices\":[{\"delta\":{\"content\":\"bro\xffken\"}}]}"});
  EXPECT_EQ(turn.text, "one bro\xEF\xBF\xBDken");
  EXPECT_EQ(turn.finishReason, std::nullopt);
  EXPECT_EQ(turn.responseId, "gen-1");
}

/// Events that differ from the last one in their text alone are not parsed as a whole.
TEST(ChatTurnAssemblyTest, takesTextsOfAnyKindInEventsThatAreAlike) {
  const std::vector<std::pair<std::string, std::string>> texts = {{"plain", "plain"},
                                                                  {" more", " more"},
                                                                  {R"(\"quoted\")", "\"quoted\""},
                                                                  {"größer 漢 🙂", "größer 漢 🙂"},
                                                                  {R"(\n\u00fc)", "\nü"},
                                                                  {R"(\"content\":\")", R"("content":")"},
                                                                  {"br\xffken", "br\xEF\xBF\xBDken"},
                                                                  {R"(half \ud83d)", "half \xEF\xBF\xBD"},
                                                                  {"", ""},
                                                                  {R"(a","content":"b)", "b"},
                                                                  {"end", "end"}};
  std::vector<std::string> lines;
  std::string expected;
  for (const auto& [written, read] : texts) {
    lines.push_back(delta(R"("content":")" + written + '"'));
    expected += read;
  }
  lines.push_back(delta(R"("content":"!")", R"("stop")"));
  lines.push_back(delta(R"("content":"?")") + " trailing");
  lines.push_back(R"(data: {"id":"gen-2","choices":[{"index":0,"delta":{"content":"."},"finish_reason":null}]})");
  // Two members of that name, of which only the first is the text.
  const auto twice = [](std::string_view other) {
    return fmt::format(R"(data: {{"choices":[{{"delta":{{"content": "x"}},"logprobs":{{"content":"{}"}}}}]}})", other);
  };
  lines.push_back(twice("x"));
  lines.push_back(twice("y"));
  const auto [turn, fragments, thoughts] = assemble(lines);
  EXPECT_EQ(turn.text, expected + "!.xx");
  EXPECT_EQ(turn.finishReason, "stop");
  EXPECT_EQ(turn.responseId, "gen-2");
}

TEST(ChatTurnAssemblyTest, keepsInterleavedCallsApartInTheOrderOfTheirIndices) {
  const auto [turn, fragments, thoughts] =
      assemble({toolCalls(R"({"index":1,"id":"b","function":{"name":"read_file","arguments":"{\"pa"}})"),
                toolCalls(R"({"index":0,"id":"a","function":{"name":"bash","arguments":""}})"),
                toolCalls(R"({"index":0,"function":{"arguments":"{\"command\":"}},)"
                          R"({"index":1,"id":"","function":{"name":"","arguments":"th\":\"x\"}"}})"),
                toolCalls(R"({"index":0,"function":{"arguments":"\"ls\"}"}})")});
  EXPECT_THAT(turn.toolCalls, ElementsAre(RavantToolCall{"a", "bash", R"({"command":"ls"})"},
                                          RavantToolCall{"b", "read_file", R"({"path":"x"})"}));
}

TEST(ChatTurnAssemblyTest, findsTheCallsOfProvidersThatGiveNoIndex) {
  const auto [turn, fragments, thoughts] = assemble(
      {toolCalls(R"({"id":"a","function":{"name":"bash","arguments":{"command":"ls","n":[1,2]}}},)"
                 R"({"id":"b","function":{"name":"bash","arguments":"{\"comm"}})"),
       toolCalls(R"({"function":{"arguments":"and\":"}})"), toolCalls(R"({"id":"b","function":{"arguments":"1}"}})"),
       toolCalls(R"({"function":{"name":"list_directory","arguments":null}})")});
  ASSERT_THAT(turn.toolCalls, SizeIs(3));
  EXPECT_EQ(turn.toolCalls[0], (RavantToolCall{"a", "bash", R"({"command":"ls","n":[1,2]})"}));
  EXPECT_EQ(turn.toolCalls[1], (RavantToolCall{"b", "bash", R"({"command":1})"}));
  EXPECT_EQ(turn.toolCalls[2].name, "list_directory");
  EXPECT_EQ(turn.toolCalls[2].argumentsJSON, "");
  EXPECT_THAT(turn.toolCalls[2].id, MatchesRegex("[a-zA-Z0-9]{9}")) << "one that never got an id";
}

TEST(ChatTurnAssemblyTest, anEmptyReasonIsNone) {
  EXPECT_EQ(assemble({delta(R"("content":"a")", R"("")")}).turn.finishReason, std::nullopt);
  EXPECT_EQ(assemble({delta(R"("content":"a")", R"("length")"), delta("", R"("")")}).turn.finishReason, "length");
}

TEST(ChatTurnAssemblyTest, aNumberIsNoCall) {
  EXPECT_THAT(assemble({delta(R"("content":"a")"), toolCalls("1.5")}).turn.toolCalls, IsEmpty());
}

TEST(ChatTurnAssemblyTest, anErrorInTheStreamEndsTheTurnInTheProvidersWords) {
  const std::string begun = delta(R"("content":"Well")");
  EXPECT_EQ(failureOf({begun, R"(data: {"error":{"code":502,"message":"Provider disconnected"},"choices":[]})"}),
            "Mistral API error (502): Provider disconnected");
  EXPECT_EQ(failureOf({R"(data: {"error":{"code":"rate_limited","message":"Slow down"}})"}),
            "Mistral API error (rate_limited): Slow down");
  EXPECT_EQ(failureOf({R"(data: {"error":{"message":"Gone"}})"}), "Mistral API error: Gone");
  EXPECT_EQ(failureOf({R"(data: {"error":"Gone"})"}), "Mistral API error: Gone");
  EXPECT_EQ(failureOf({R"(data: {"error":{"type":"odd"}})"}), R"(Mistral API error: {"type":"odd"})");
}

TEST(ChatTurnAssemblyTest, aReplyWithoutAnEventIsNoEmptyAnswer) {
  EXPECT_EQ(failureOf({R"({"error":{"message":"wrong path"}})"}),
            R"(Mistral transport error: the response is no event stream: {"error":{"message":"wrong path"}})");
  EXPECT_EQ(failureOf({}), "Mistral transport error: the response is empty");
  EXPECT_EQ(failureOf({": keep-alive", "", "event: ping", "id: 5", "retry: 10"}),
            "Mistral transport error: the response is empty");
  EXPECT_EQ(failureOf({"data: [DONE]"}), "Mistral transport error: the response is empty");
  EXPECT_EQ(failureOf({delta("", R"("stop")"), "data: [DONE]"}), "none") << "the model has nothing to add";
}

struct Thinking {
  std::string name;
  std::vector<std::string> deltas;
  std::string members;  ///< of the message that is sent back, without its role
  std::vector<std::string> thoughts;
};

class ReasoningTest : public testing::TestWithParam<Thinking> {};

TEST_P(ReasoningTest, isGivenBackAsItsProviderSentIt) {
  std::vector<std::string> lines;
  for (const std::string& members : GetParam().deltas) lines.push_back(delta(members));
  const auto [turn, fragments, thoughts] = assemble(lines);
  EXPECT_EQ(thoughts, GetParam().thoughts);
  const auto raw = parseJson(chat::rawTurn(turn, "vendor/model")).value();
  json::object message = raw.at("message").as_object();
  message.erase("role");
  EXPECT_EQ(message, parseJson(GetParam().members));
  const auto kept = chat::keptTurn(json::serialize(raw));
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->model, "vendor/model");
  EXPECT_EQ(kept->reasoning, turn.reasoning);
}

INSTANTIATE_TEST_SUITE_P(
    ChatTurnAssembly, ReasoningTest,
    testing::Values(
        Thinking{"details",
                 {R"("content":"","reasoning":"Let ","reasoning_details":[{"type":"reasoning.text","text":"Let ",
                      "format":"anthropic-claude-v1","index":0}])",
                  R"("content":"","reasoning":"me.","reasoning_details":[{"type":"reasoning.text","text":"me.",
                      "format":"anthropic-claude-v1","index":0}])",
                  R"("content":"","reasoning":null,"reasoning_details":[{"type":"reasoning.text","text":null,
                      "signature":"Sig=","index":0}])",
                  R"("reasoning_details":[{"type":"reasoning.text","text":"More.","index":1}])",
                  R"("content":"Hi.","reasoning":null,"reasoning_details":[])"},
                 R"({"content":"Hi.","reasoning":"Let me.","reasoning_details":[
                     {"type":"reasoning.text","text":"Let me.","format":"anthropic-claude-v1","index":0,"signature":"Sig="},
                     {"type":"reasoning.text","text":"More.","index":1}]})",
                 {"Let ", "me.", "More."}},
        Thinking{
            "encryptedDetails",
            {R"("reasoning_details":[{"type":"reasoning.summary","summary":"**Exe","index":0}])",
             R"("reasoning_details":[{"type":"reasoning.summary","summary":"cute**","index":0}])",
             R"("reasoning_details":[{"type":"reasoning.encrypted","data":"gAAA","id":"rs_1","index":0}])",
             R"("reasoning_details":[{"type":"reasoning.encrypted","data":"gBBB","id":"rs_2","index":0}])",
             R"("content":"Hi.")"},
            R"({"content":"Hi.","reasoning_details":[{"type":"reasoning.summary","summary":"**Execute**","index":0},
                     {"type":"reasoning.encrypted","data":"gAAA","id":"rs_1","index":0},
                     {"type":"reasoning.encrypted","data":"gBBB","id":"rs_2","index":0}]})",
            {"**Exe", "cute**"}},
        Thinking{"aTextBesideTheWords",
                 {R"("content":null,"reasoning_content":"Let ")", R"("reasoning_content":"me.")",
                  R"("content":"Hi","reasoning_content":"")", R"("content":" you","reasoning_content":"")",
                  R"("content":"!","reasoning_content":" Done.")", R"("content":"!","reasoning_content":" Done.")"},
                 R"({"content":"Hi you!!","reasoning_content":"Let me. Done. Done."})",
                 {"Let ", "me.", " Done.", " Done."}},
        Thinking{"anEmptyText",
                 {R"("content":"Hi.","reasoning_content":"")"},
                 R"({"content":"Hi.","reasoning_content":""})",
                 {}},
        Thinking{"partsOfTheContent",
                 {R"("content":[{"type":"thinking","thinking":[{"type":"text","text":"Let "}]}])",
                  R"("content":[{"type":"thinking","thinking":[{"type":"text","text":"me."}]}])",
                  R"("content":[{"type":"text","text":"Hi"},{"type":"reference","reference_ids":[1]},
                      {"type":"text","text":" you"}])",
                  R"("content":".")"},
                 R"({"content":[{"type":"thinking","thinking":[{"type":"text","text":"Let me."}]},
                     {"type":"text","text":"Hi you."}]})",
                 {"Let ", "me."}}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace ravant::test
