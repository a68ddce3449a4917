#include "tests/agent/ravant_agent_runner_test.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "platform/log/log.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST_F(RavantAgentRunnerTest, refusalsOfABusyProviderAreTriedAgain) {
  play({refuses(429, "slow down", {{"Retry-After", "0"}}), refuses(500, "oh"), refuses(503, ""), says({"Here."})});
  EXPECT_EQ(send("prompt"), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("prompt", "Here."));

  play({refuses(502, "one"), refuses(502, "two"), refuses(502, "three"), refuses(529, " the provider's own \n")});
  EXPECT_EQ(send("prompt"), "failed: OpenRouter API error (529): the provider's own");

  const ModelAnswer breaks = [](HttpServer::Connection& connection) {
    connection.write("HTTP/1.1 503 No\r\nContent-Length: 10\r\n\r\nhalf");
    connection.reset();
  };
  play({breaks, says({"Here."})});
  EXPECT_EQ(send("prompt"), "finished") << "the status alone is enough";

  play({refuses(400, R"({"error":"bad"})"), refuses(429, "come tomorrow", {{"Retry-After", "86400"}})});
  EXPECT_EQ(send("prompt"), R"(failed: OpenRouter API error (400): {"error":"bad"})");
  EXPECT_EQ(send("prompt"), "failed: OpenRouter API error (429): come tomorrow");
}

TEST_F(RavantAgentRunnerTest, whatBreaksBeforeAnAnswerBeginsIsTriedAgain) {
  const auto inStream = [](std::string events, bool isReset) -> ModelAnswer {
    return [=](HttpServer::Connection& connection) {
      connection.beginEventStream();
      connection.write(": OPENROUTER PROCESSING\n\n" + events);
      if (isReset) connection.reset();
    };
  };
  const std::string refusal = chatEvent({{"error", {{"code", 502}, {"message", "Provider disconnected"}}}});
  play({[](HttpServer::Connection& connection) { connection.close(); }, inStream("", true), inStream("", false),
        says({"One."}), inStream(refusal, false), says({"Two."}), inStream(textEvent("Thr"), true),
        inStream(chatEvent({{"choices", {{{"delta", {{"reasoning", "Hm"}}}}}}}), true),
        inStream(chatEvent({{"error", {{"code", 401}, {"message", "Who?"}}}}), false)});
  EXPECT_EQ(send("one"), "finished");
  EXPECT_EQ(send("two"), "finished");
  EXPECT_THAT(send("three"), StartsWith("failed: OpenRouter transport error: ")) << "a part of it was seen";
  EXPECT_THAT(send("four"), StartsWith("failed: OpenRouter transport error: "));
  EXPECT_EQ(send("five"), "failed: OpenRouter API error (401): Who?");
  EXPECT_THAT(bench->texts(), ElementsAre("one", "One.", "two", "Two.", "three", "Thr", "four", "five"));
}

TEST_F(RavantAgentRunnerTest, furtherTriesAreAnnouncedWithTheirReason) {
  play({refuses(503, "busy"), says({"Here."})});
  const auto [outcome, announced] = sendWatched("prompt");
  EXPECT_EQ(outcome, "finished");
  std::vector<RunState> states;
  for (const Change& change : announced) {
    if (change.state) states.push_back(*change.state);
  }
  const auto retry = std::ranges::find(states, RunState::Kind::retrying, &RunState::kind);
  ASSERT_NE(retry, states.end());
  EXPECT_EQ(retry->reason, "OpenRouter API error (503): busy");
  ASSERT_TRUE(retry->until);
  EXPECT_EQ(*retry->until - retry->since, firstWait);
  EXPECT_EQ(states.back().kind, RunState::Kind::thinking) << "once it is asked again";

  play({});
  addresses = {{RavantProvider::openrouter, "http://127.0.0.1:1"}};
  bench->replaceRunner();
  const auto [failure, refusals] = sendWatched("prompt");
  const auto isRefused = [](const Change& change) {
    return change.state && change.state->reason.contains("Failed to connect to 127.0.0.1 port 1");
  };
  EXPECT_THAT(failure, StartsWith("failed: OpenRouter transport error: Failed to connect to 127.0.0.1 port 1"));
  EXPECT_EQ(std::ranges::count_if(refusals, isRefused), 3);
}

TEST_F(RavantAgentRunnerTest, failuresAreInTheProvidersWordsAndKeepWhatWasSaid) {
  retries = 0;
  play({[](HttpServer::Connection& connection) {
          connection.beginEventStream();
          connection.write(textEvent("Well"));
          connection.write(callsEvent({{"a", "bash", "{}"}}));
          connection.write(chatEvent({{"error", {{"code", 502}, {"message", "Provider disconnected"}}}}));
        },
        [](HttpServer::Connection& connection) {
          connection.beginEventStream();
          connection.write(textEvent("And then"));
          connection.reset();
        },
        [](HttpServer::Connection& connection) { connection.close(); },
        refuses(401, "no such key: " + std::string(ScriptedModel::kKey)), refuses(201, "Created"),
        [](HttpServer::Connection& connection) { connection.beginEventStream(); }, says({"Good."})});
  EXPECT_EQ(send("one"), "failed: OpenRouter API error (502): Provider disconnected");
  EXPECT_THAT(send("two"), StartsWith("failed: OpenRouter transport error: "));
  EXPECT_EQ(send("three"), "failed: OpenRouter transport error: No HTTP response");
  EXPECT_EQ(send("four"), "failed: OpenRouter API error (401): no such key: [key]");
  EXPECT_EQ(send("five"), "failed: OpenRouter API error (201): Created");
  EXPECT_EQ(send("six"), "failed: OpenRouter transport error: the response is empty");
  EXPECT_EQ(send("seven"), "finished");
  EXPECT_THAT(bench->texts(),
              ElementsAre("one", "Well", "two", "And then", "three", "four", "five", "six", "seven", "Good."));
  EXPECT_EQ(model->conversations().back(),
            "user: one\nassistant: Well\nuser: two\nassistant: And then\nuser: three\nuser: four\nuser: five\n"
            "user: six\nuser: seven\n");
}

TEST_F(RavantAgentRunnerTest, aKeyThatStandsInOtherWordsIsLeftOut) {
  key = "key";
  HttpServer server([](const HttpServer::Request&, HttpServer::Connection& connection) {
    connection.beginEventStream();
    connection.write(chatEvent({{"error", {{"message", "key keykey refused"}}}}));
  });
  play({});
  addresses = {{RavantProvider::openrouter, server.url()}};
  bench->replaceRunner();
  EXPECT_EQ(send("prompt"), "failed: OpenRouter API error: [key] [key][key] refused");
}

TEST_F(RavantAgentRunnerTest, aKeyThatIsCutWithItsTextIsLeftOut) {
  const std::string page(290, 'x');
  const std::string words((std::size_t{64} * 1024) - 5, 'x');
  play({refuses(200, page + std::string(ScriptedModel::kKey)), refuses(400, words + std::string(ScriptedModel::kKey))});
  EXPECT_EQ(send("one"), "failed: OpenRouter transport error: the response is no event stream: " + page + "…");
  EXPECT_EQ(send("two"), "failed: OpenRouter API error (400): " + words + "…");
}

TEST_F(RavantAgentRunnerTest, aRefusalWhoseBodyStaysOpenIsNotWaitedFor) {
  patienceWithRefusals = 100ms;
  const auto stays = [](int status) -> ModelAnswer {
    return [status](HttpServer::Connection& connection) {
      connection.write(fmt::format("HTTP/1.1 {} No\r\nContent-Length: 100\r\n\r\nbusy", status));
      connection.awaitClose();
    };
  };
  play({stays(503), says({"Here."}), stays(400)});
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(send("one"), "finished");
  EXPECT_EQ(send("two"), "failed: OpenRouter API error (400): busy…");
  EXPECT_LT(std::chrono::steady_clock::now() - began, 10s);
}

TEST_F(RavantAgentRunnerTest, whatAProviderSaysIsNotLogged) {
  const TemporaryFolder logs;
  openLogFile(logs.path());
  play({refuses(503, "you asked about the secret plan"), says({"Here."})});
  EXPECT_EQ(send("prompt"), "finished");
  std::ostringstream log;
  log << std::ifstream(logs / "ravant.log").rdbuf();
  openLogFile("/dev/null");
  EXPECT_THAT(log.str(), AllOf(HasSubstr("OpenRouter: HTTP 503; the request is sent again in 1 ms"),
                               Not(HasSubstr("secret plan"))));
}

TEST_F(RavantAgentRunnerTest, aStoredKeyIsCheckedAsItIsRead) {
  const auto store = [&](const std::string& secret) {
    keyStore->store({.service = "com.ravant.agent.providers", .account = "openrouter"}, secret, "key");
  };
  key.reset();
  play({says({"Here."}), says({"There."})});
  store(std::string(ScriptedModel::kKey) + "\n");
  EXPECT_EQ(send("one"), "finished");
  store(" \n");
  EXPECT_EQ(send("two"), "failed: the stored key of OpenRouter: the key is empty");
  store("two words");
  EXPECT_EQ(send("three"),
            "failed: the stored key of OpenRouter: the key has spaces, line breaks or other characters that none has");
  key = ScriptedModel::kKey;
  EXPECT_EQ(send("four"), "finished") << "the environment's is there";
}

TEST_F(RavantAgentRunnerTest, anAnswerThatWasCutIsKeptAndSaid) {
  const std::vector<std::pair<std::string, std::string>> reasons = {
      {"length", "failed: The answer was cut off: the model reached its limit."},
      {"model_length", "failed: The answer was cut off: the conversation fills the model's context (model_length)."},
      {"content_filter", "failed: The provider withheld the answer (content_filter)."},
      {"error", "failed: The provider ended the answer before it was whole (error)."},
      {"stop", "finished"},
  };
  std::vector<ModelAnswer> script;
  for (const auto& [reason, outcome] : reasons) {
    script.push_back([reason](HttpServer::Connection& connection) {
      connection.beginEventStream();
      connection.write(textEvent("Half an"));
      if (reason != "stop") connection.write(callsEvent({{"a", "bash", R"({"command":"touch never"})"}}));
      connection.write(chatEvent({{"choices", {{{"delta", json::object()}, {"finish_reason", reason}}}}}));
      connection.write(endOfStream());
    });
  }
  play(std::move(script));
  for (const auto& [reason, outcome] : reasons) EXPECT_EQ(send(reason), outcome);
  EXPECT_THAT(bench->texts(), ElementsAre("length", "Half an", "model_length", "Half an", "content_filter", "Half an",
                                          "error", "Half an", "stop", "Half an"));
  EXPECT_THAT(bench->endReasons(), ElementsAre("limit", "limit", "failed", "failed", "finished"));
  EXPECT_FALSE(std::filesystem::exists(bench->project / "never"));
}

TEST_F(RavantAgentRunnerTest, whatKeepsAPromptFromBeingSentIsSaid) {
  play({says({"Here."})});
  slug = "no/such-model";
  EXPECT_EQ(send("prompt"), "failed: Unknown model \"no/such-model\"");
  slug = "mistral-small-latest";
  key.reset();
  EXPECT_EQ(send("prompt"), "failed: No Mistral API key configured. Add one in Settings → Agents → Ravant.");
  slug = kModel;
  key = " ";
  EXPECT_EQ(send("prompt"), "failed: No OpenRouter API key configured. Add one in Settings → Agents → Ravant.");
  key = ScriptedModel::kKey;
  std::filesystem::rename(bench->project, bench->home() / "moved");
  EXPECT_EQ(send("prompt"),
            "failed: the folder " + bench->project.string() + " is gone; put it back, or choose another one");
  std::filesystem::rename(bench->home() / "moved", bench->project);
  slug = "mistral-small-latest";
  EXPECT_EQ(send("prompt"), "finished");
  EXPECT_EQ(model->requests().back().target, "/v1/chat/completions");
  EXPECT_EQ(bench->texts().size(), 6U) << "every prompt is kept";

  addresses = {{RavantProvider::openrouter, "http://example.com"}, {RavantProvider::mistral, "http://127.0.0.1:1"}};
  bench->replaceRunner();
  EXPECT_THAT(send("prompt"), StartsWith("failed: Mistral transport error: Failed to connect to 127.0.0.1 port 1"));
  slug = kModel;
  EXPECT_THAT(send("prompt"), StartsWith("failed: the address of OpenRouter cannot be used: \"http://example.com\" is "
                                         "not encrypted"));
}

TEST_F(RavantAgentRunnerTest, aConversationThatIsGoneStopsTheRun) {
  play({calls({{"a", "bash", R"({"command":"cat gate"})"}})});
  ASSERT_EQ(::mkfifo((bench->project / "gate").c_str(), 0600), 0);
  const auto lose = [&]() -> awaitable<void> {
    co_await bench->untilTranscriptHas("bash");
    bench->loseConversation();
    std::ofstream(bench->project / "gate") << "go on\n";
  };
  EXPECT_THAT(bench->await(outcomeOf("prompt") && lose()), HasSubstr("the conversation was deleted"));
}

}  // namespace
}  // namespace ravant::test
