#include <gmock/gmock.h>

#include "tests/agent/ravant_agent_runner_test.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// An event with a piece of a message.
std::string deltaEvent(std::string_view members) {
  return chatEvent({{"id", "gen-1"}, {"choices", {{{"index", 0}, {"delta", parseJson(members).value()}}}}});
}

/// Thinks, and asks for a tool.
ModelAnswer thinks(std::string members, std::string text = {}) {
  return [=](HttpServer::Connection& connection) {
    connection.beginEventStream();
    connection.write(deltaEvent(members));
    if (!text.empty()) connection.write(textEvent(text));
    connection.write(callsEvent({{"Abc123xyZ", "list_directory", "{}"}}));
    connection.write(endOfStream());
  };
}

struct Reasoning {
  std::string name;
  std::string model;
  std::string delta;
  std::string sentBack;  ///< of the message that asked for tools
  std::string other;     ///< a model that is not given it
};

class RavantReasoningTest : public RavantAgentRunnerTest, public testing::WithParamInterface<Reasoning> {
 protected:
  /// Of the last request, the messages that ask for tools, without those calls.
  std::vector<json::object> asking() {
    std::vector<json::object> asking;
    const json::value body = parseJson(model->requests().back().body).value();
    for (const json::value& message : body.at("messages").as_array()) {
      json::object object = message.as_object();
      if (object.erase("tool_calls") > 0) asking.push_back(std::move(object));
    }
    return asking;
  }
};

TEST_P(RavantReasoningTest, isGivenBackWithinARunAndLaterButToNoOtherModel) {
  const Reasoning& row = GetParam();
  const json::object wordless = parseJson(row.sentBack).value().as_object();
  slug = row.model;
  play({thinks(row.delta), thinks(row.delta, "I look."), says({"Done."})});
  EXPECT_EQ(send("one"), "finished");
  const std::vector<json::object> sent = asking();
  ASSERT_EQ(sent.size(), 2U);
  EXPECT_EQ(sent[0], wordless);
  EXPECT_NE(sent[1], wordless);
  EXPECT_THAT(bench->texts(), ElementsAre("one", "", "I look.", "", "Done.")) << "it is no part of the transcript";

  play({says({"Later."}), says({"Other."})});
  EXPECT_EQ(send("two"), "finished");
  EXPECT_EQ(asking(), sent) << "also as another process has it";
  slug = row.other;
  EXPECT_EQ(send("three"), "finished");
  EXPECT_THAT(asking(), ElementsAre(json::object{{"role", "assistant"}, {"content", ""}},
                                    json::object{{"role", "assistant"}, {"content", "I look."}}));
}

INSTANTIATE_TEST_SUITE_P(
    RavantAgentRunner, RavantReasoningTest,
    testing::Values(
        Reasoning{"details", "google/gemini-3.5-flash",
                  R"({"reasoning_details":[{"type":"reasoning.encrypted","data":"Sig=","id":"call","index":0}]})",
                  R"({"role":"assistant","content":"",
                      "reasoning_details":[{"type":"reasoning.encrypted","data":"Sig=","id":"call","index":0}]})",
                  "codestral-latest"},
        Reasoning{"aText", "deepseek/deepseek-v4-pro", R"({"reasoning_content":"Let me."})",
                  R"({"role":"assistant","content":"","reasoning_content":"Let me."})", "openai/gpt-5.5"},
        Reasoning{"anEmptyText", "deepseek/deepseek-v4-pro", R"({"reasoning_content":""})",
                  R"({"role":"assistant","content":"","reasoning_content":""})", "openai/gpt-5.5"},
        Reasoning{
            "partsOfTheContent", "magistral-medium-latest",
            R"({"content":[{"type":"thinking","thinking":[{"type":"text","text":"Let me."}]}]})",
            R"({"role":"assistant","content":[{"type":"thinking","thinking":[{"type":"text","text":"Let me."}]}]})",
            "mistral-large-latest"}),
    [](const auto& info) { return info.param.name; });

using RavantThoughtsTest = RavantAgentRunnerTest;

TEST_F(RavantThoughtsTest, areAnnouncedWhileTheyComeAndNotStored) {
  play({[](HttpServer::Connection& connection) {
    connection.beginEventStream();
    connection.write(deltaEvent(R"({"reasoning":"Secret "})") + deltaEvent(R"({"reasoning":"thoughts"})"));
    connection.write(textEvent("Here."));
    connection.write(endOfStream());
  }});
  const auto [outcome, announced] = sendWatched("prompt");
  EXPECT_EQ(outcome, "finished");
  std::string thoughts;
  for (const Change& change : announced) {
    if (!change.growth || change.growth->kind != GrowthKind::reasoning) continue;
    EXPECT_EQ(change.growth->isNewMessage, thoughts.empty());
    thoughts += change.growth->text;
  }
  EXPECT_EQ(thoughts, "Secret thoughts");
  EXPECT_THAT(bench->transcript(), Not(HasSubstr("thoughts")));
}

}  // namespace
}  // namespace ravant::test
