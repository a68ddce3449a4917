#include "agent/chat_completions_wire.hpp"

#include <gmock/gmock.h>

#include "agent/chat_completions_error.hpp"
#include "agent/ravant_agent_tools.hpp"
#include "agent/ravant_model.hpp"
#include "platform/json/json.hpp"

namespace ravant::test {
namespace {

json::value bodyOf(chat::Request request) { return parseJson(chat::requestBody(request)).value(); }

TEST(ChatCompletionsWireTest, eachMessageBecomesOneObjectBehindTheSystemPrompt) {
  const json::value body =
      bodyOf({.model = "vendor/model",
              .systemPrompt = "Be brief.",
              .messages = {message::User{"Hello \"you\"\n"},
                           message::Assistant{.text = "", .toolCalls = {{"a", "bash", ""}, {"b", "bash", "{\"x\":1}"}}},
                           message::ToolResult{.callId = "a", .name = "bash", .content = "", .isError = false},
                           message::ToolResult{.callId = "b", .name = "bash", .content = "bad \xff", .isError = true},
                           message::Assistant{.text = "Done.", .toolCalls = {}}},
              .tools = {},
              .temperature = std::nullopt});
  EXPECT_EQ(body, parseJson(R"json({"model":"vendor/model","stream":true,"messages":[
    {"role":"system","content":"Be brief."},
    {"role":"user","content":"Hello \"you\"\n"},
    {"role":"assistant","content":"","tool_calls":[
      {"id":"a","type":"function","function":{"name":"bash","arguments":"{}"}},
      {"id":"b","type":"function","function":{"name":"bash","arguments":"{\"x\":1}"}}]},
    {"role":"tool","tool_call_id":"a","name":"bash","content":"(no output)"},
    {"role":"tool","tool_call_id":"b","name":"bash","content":"[tool error] bad \ufffd"},
    {"role":"assistant","content":"Done."}]})json"));
}

TEST(ChatCompletionsWireTest, toolsAndTemperatureAreSentOnlyWhereThereAreAny) {
  const json::value body =
      bodyOf({.model = "m", .systemPrompt = "", .messages = {}, .tools = {{{"type", "function"}}}, .temperature = 0.5});
  EXPECT_EQ(body, parseJson(R"({"model":"m","stream":true,"messages":[{"role":"system","content":""}],
    "tools":[{"type":"function"}],"tool_choice":"auto","temperature":0.5})"));
}

TEST(ChatCompletionsWireTest, errorsReadAsTheirProviderPutThem) {
  EXPECT_STREQ(ChatCompletionsError::http("Mistral", 500, " \r\n\t ").what(), "Mistral API error (500)");
  EXPECT_STREQ(ChatCompletionsError::http("OpenRouter", 201, "\nCreated\n").what(),
               "OpenRouter API error (201): Created");
  EXPECT_STREQ(ChatCompletionsError::transport("OpenRouter", "No HTTP response").what(),
               "OpenRouter transport error: No HTTP response");
}

TEST(RavantAgentToolsTest, definitionsAreWhatAProviderTakes) {
  std::string summary;
  for (const json::value& tool : RavantAgentTools::definitions()) {
    EXPECT_EQ(tool.at("type"), "function");
    const json::value& function = tool.at("function");
    EXPECT_FALSE(function.at("description").as_string().empty());
    const json::value& parameters = function.at("parameters");
    EXPECT_EQ(parameters.at("type"), "object");
    summary += function.at("name").as_string();
    for (const auto& [name, property] : parameters.at("properties").as_object()) {
      EXPECT_EQ(property.at("type"), "string");
      const json::array& required = parameters.at("required").as_array();
      const bool isRequired = std::ranges::find(required, json::value(name)) != required.end();
      (summary += ' ').append(name).append(isRequired ? "" : "?");
    }
    summary += '\n';
  }
  EXPECT_EQ(summary,
            "bash command\nread_file path\nwrite_file path content\nedit_file path old_string new_string\n"
            "list_directory path?\n");
}

TEST(RavantModelTest, theListIsInItsOrder) {
  std::string table;
  for (const RavantModel& model : ravantModels()) {
    table += fmt::format("{} | {} | {} | {} | {}\n", model.slug, model.displayName, rawValue(model.provider),
                         model.contextWindow, model.reasoning ? "reasons" : "");
    EXPECT_EQ(findRavantModel(model.slug), &model);
  }
  EXPECT_EQ(table,
            "mistral-large-latest | Mistral Large | mistral | 131072 | \n"
            "mistral-medium-latest | Mistral Medium | mistral | 131072 | \n"
            "mistral-small-latest | Mistral Small | mistral | 131072 | \n"
            "magistral-medium-latest | Magistral Medium | mistral | 131072 | reasons\n"
            "codestral-latest | Codestral | mistral | 262144 | \n"
            "anthropic/claude-sonnet-5 | Claude Sonnet 5 | openrouter | 1000000 | reasons\n"
            "anthropic/claude-opus-4.8 | Claude Opus 4.8 | openrouter | 1000000 | reasons\n"
            "openai/gpt-5.5 | GPT-5.5 | openrouter | 1050000 | reasons\n"
            "openai/gpt-5.4-mini | GPT-5.4 Mini | openrouter | 400000 | reasons\n"
            "google/gemini-3.5-flash | Gemini 3.5 Flash | openrouter | 1048576 | reasons\n"
            "x-ai/grok-4.3 | Grok 4.3 | openrouter | 1000000 | reasons\n"
            "moonshotai/kimi-k2.7-code | Kimi K2.7 Code | openrouter | 262144 | \n"
            "deepseek/deepseek-v4-pro | DeepSeek V4 Pro | openrouter | 1048576 | reasons\n"
            "z-ai/glm-5.2 | GLM 5.2 | openrouter | 1048576 | \n");
  EXPECT_EQ(findRavantModel("no/such-model"), nullptr);
}

}  // namespace
}  // namespace ravant::test
