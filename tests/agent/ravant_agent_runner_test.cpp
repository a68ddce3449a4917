#include "tests/agent/ravant_agent_runner_test.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <condition_variable>
#include <fstream>
#include <limits>
#include <mutex>
#include <sstream>

#include "platform/log/log.hpp"
#include "platform/sqlite/database.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

TEST_F(RavantAgentRunnerTest, aPromptIsAnsweredAndKept) {
  play({says({"Hello ", "there.\n\n```cpp\nint x;\n```"})});
  EXPECT_EQ(send("Say \"hello\"\n  and wait"), "finished");
  EXPECT_EQ(
      bench->transcript(),
      "session -, window 1048576, tokens in 100 out 20 cached 0 written 0 used 120 total 120\n"
      "userMessage \"Say \\\"hello\\\"\\n  and wait\"\n"
      "agentMessage \"Hello there.\\n\\n```cpp\\nint x;\\n```\"\n"
      "    model deepseek/deepseek-v4-pro, message gen-1, tokens in 100 out 20 cached 0 written 0 used 120 total 120\n"
      "    prose - \"Hello there.\"\n"
      "    code cpp \"int x;\"\n");
  ASSERT_THAT(model->requests(), SizeIs(1));
  EXPECT_EQ(model->requests().front().target, "/api/v1/chat/completions");
  const json::value body = parseJson(model->requests().front().body).value();
  EXPECT_EQ(body.at("model").as_string(), kModel);
  EXPECT_EQ(body.at("tools").as_array().size(), 5U);
  EXPECT_FALSE(body.as_object().contains("temperature"));
  EXPECT_THAT(std::string(body.at("messages").at(0).at("content").as_string()),
              AllOf(StartsWith("You are Ravant, a concise and capable software engineering agent"),
                    HasSubstr("\n\nWorking directory:" + bench->project.string() + "\n\nYou can inspect")));
}

TEST_F(RavantAgentRunnerTest, toolsRunInOrderAndTheirResultsGoBack) {
  play({calls({{"a", "write_file", R"({"path":"a.txt","content":"one\n"})"},
               {"b", "bash", R"({"command":"cat a.txt; exit 2"})"},
               {"c", "list_directory", ""}},
              "I look."),
        calls({{"a", "edit_file", R"({"path":"a.txt","old_string":"one","new_string":"two"})"}}), says({"Done."})});
  EXPECT_EQ(send("do it"), "finished");
  const std::string usage = "tokens in 100 out 20 cached 0 written 0 used 120 total 120\n";
  EXPECT_EQ(
      bench->transcript(),
      "session -, window 1048576, " + usage +
          "userMessage \"do it\"\n"
          "agentMessage \"I look.\"\n"
          "    model deepseek/deepseek-v4-pro, message gen-1, " +
          usage +
          "    prose - \"I look.\"\n"
          "toolInvocationGroup \"\"\n"
          "    completed write_file a\n"
          "      in  \"{\\\"path\\\":\\\"a.txt\\\",\\\"content\\\":\\\"one\\\\n\\\"}\"\n"
          "      out \"Wrote 4 bytes to a.txt\"\n"
          "    failed bash b\n"
          "      in  \"{\\\"command\\\":\\\"cat a.txt; exit 2\\\"}\"\n"
          "      out \"one\\nexit code 2\"\n"
          "    completed list_directory c\n"
          "      in  \"\"\n"
          "      out \"a.txt\"\n"
          "    completed edit_file a\n"
          "      in  \"{\\\"path\\\":\\\"a.txt\\\",\\\"old_string\\\":\\\"one\\\",\\\"new_string\\\":\\\"two\\\"}\"\n"
          "      out \"Edited a.txt\"\n"
          "agentMessage \"Done.\"\n"
          "    model deepseek/deepseek-v4-pro, message gen-1, " +
          usage + "    prose - \"Done.\"\n");
  EXPECT_EQ(model->conversations().back(),
            "user: do it\n"
            "assistant: write_file({\"path\":\"a.txt\",\"content\":\"one\\n\"}) "
            "bash({\"command\":\"cat a.txt; exit 2\"}) list_directory({}) I look.\n"
            "tool: Wrote 4 bytes to a.txt\ntool: [tool error] one\nexit code 2\ntool: a.txt\n"
            "assistant: edit_file({\"path\":\"a.txt\",\"old_string\":\"one\",\"new_string\":\"two\"})\n"
            "tool: Edited a.txt\n");
  EXPECT_EQ(model->connections(), 1U) << "it is kept open";
}

TEST_F(RavantAgentRunnerTest, whatAModelGetsWrongGoesBackToIt) {
  play({calls({{"a", "bash", "{\"command\": \"ls"},
               {"b", "bash", "[1]"},
               {"c", "bash", R"({"command":7})"},
               {"c", "fly", "{}"},
               {"", "read_file", R"({"path":"../../etc/passwd"})"}}),
        says({"Sorry."})});
  EXPECT_EQ(send("do it"), "finished");
  EXPECT_EQ(model->conversations().back(),
            "user: do it\n"
            "assistant: bash({}) bash({}) bash({\"command\":7}) fly({}) read_file({\"path\":\"../../etc/passwd\"})\n"
            "tool: [tool error] The arguments are no JSON object: {\"command\": \"ls\n"
            "tool: [tool error] The arguments are no JSON object: [1]\n"
            "tool: [tool error] command must be a string\n"
            "tool: [tool error] Unknown tool: fly\n"
            "tool: [tool error] Path is outside the working directory. File tools are confined to the project; use "
            "`bash` for anything else.\n");
  EXPECT_FALSE(bench->hasRunningTool());
}

TEST_F(RavantAgentRunnerTest, aModelThatNeverStopsIsStopped) {
  play(std::vector<ModelAnswer>(24, calls({{"a", "list_directory", "{}"}})));
  EXPECT_EQ(send("do it"), "failed: Stopped after 24 tool-call turns without finishing.");
  EXPECT_THAT(bench->endReasons(), ElementsAre("limit"));
  play({says({"Enough."})});
  EXPECT_EQ(send("go on"), "finished");
  EXPECT_EQ(std::ranges::count(model->conversations().back(), '\n'), 1 + 24 * 2 + 1);
}

TEST_F(RavantAgentRunnerTest, theConversationGoesOnInThisAndInAnotherRunner) {
  const ModelAnswer works = calls({{"a", "bash", R"({"command":"true"})"}}, "I look.");
  play({works, says({"One."}), says({"Two."})});
  EXPECT_EQ(send("first"), "finished");
  EXPECT_EQ(send("second"), "finished");
  const std::string remembered = model->conversations().back();
  EXPECT_EQ(remembered,
            "user: first\nassistant: bash({\"command\":\"true\"}) I look.\ntool: (no output)\nassistant: One.\n"
            "user: second\n");

  play({says({"Three."})});
  EXPECT_EQ(send("third"), "finished");
  EXPECT_EQ(model->conversations().back(), remembered + "assistant: Two.\nuser: third\n");
}

TEST_F(RavantAgentRunnerTest, whatAnotherProcessAddedIsSentToo) {
  play({says({"One."}), says({"Two."})});
  EXPECT_EQ(send("first"), "finished");
  bench->append(
      {turn::AppendAgentMessage{.rawJSON = {}, .text = "From elsewhere.", .agentModel = {}, .providerMessageId = {}},
       turn::AppendToolInvocation{.rawJSON = {}, .text = "bash", .toolName = "bash", .toolCallId = "x"}});
  EXPECT_EQ(send("second"), "finished");
  EXPECT_EQ(model->conversations().back(),
            "user: first\nassistant: One.\nassistant: bash({}) From elsewhere.\ntool: (no output)\nuser: second\n");
}

TEST_F(RavantAgentRunnerTest, conversationsRunAtTheSameTime) {
  const ModelAnswer waits = [&](HttpServer::Connection& connection) {
    begun.open();
    connection.wait(release);
    says({"Waited."})(connection);
  };
  play({waits, says({"At once."})});
  const auto other = [&]() -> awaitable<std::string> {
    const ConversationId conversation = bench->addConversation();
    co_await opened(begun);
    EXPECT_EQ(co_await outcomeOf("again"), "failed: busy");
    const std::string outcome = co_await outcomeOf("other", conversation);
    release.open();
    co_return outcome;
  };
  EXPECT_EQ(bench->await(outcomeOf("first") && other()), std::make_tuple("finished", "finished"));
  EXPECT_THAT(bench->texts(), ElementsAre("first", "Waited."));
}

TEST_F(RavantAgentRunnerTest, textIsAnnouncedWhileItGrowsAndStoredOnce) {
  play({[&](HttpServer::Connection& connection) {
    connection.beginEventStream();
    connection.write(": OPENROUTER PROCESSING\n\n" + textEvent("Once upon "));
    connection.wait(release);
    connection.write(textEvent("a time."));
    connection.write(endOfStream());
  }});
  std::vector<Change> changes;
  const auto watch = [&](std::shared_ptr<ChangeSubscription> feed) -> awaitable<void> {
    bool isOver = false;
    while (!isOver) {
      const auto batch = co_await feed->next();
      for (const Change& change : batch->changes) {
        if (change.operation == ChangeOperation::grew) release.open();
        const bool isItem = std::holds_alternative<ConversationItemId>(change.entity);
        isOver |= isItem && change.operation == ChangeOperation::inserted && release.isOpen();
        if (change.operation == ChangeOperation::grew || isItem) changes.push_back(change);
      }
    }
  };
  const auto feed = bench->await(bench->subscribe());
  bench->await(outcomeOf("tell me") && watch(feed));
  ASSERT_GE(changes.size(), 3U);
  EXPECT_EQ(changes[0].operation, ChangeOperation::inserted) << "the prompt";
  EXPECT_EQ(changes[1].growth, (Growth{.text = "Once upon ", .isNewMessage = true}));
  EXPECT_EQ(std::ranges::count(changes, ChangeOperation::inserted, &Change::operation), 2);
  EXPECT_THAT(bench->texts(), ElementsAre("tell me", "Once upon a time."));
}

TEST_F(RavantAgentRunnerTest, theNumberOfPiecesDoesNotMatterToTheStore) {
  play({says({"one"}), says(std::vector<std::string>(10'000, "piece "))});
  const auto changesOf = [&](const std::string& prompt) {
    const std::int64_t before = bench->committedChanges();
    EXPECT_EQ(send(prompt), "finished");
    return bench->committedChanges() - before;
  };
  const std::int64_t ofOne = changesOf("one");
  EXPECT_EQ(changesOf("many"), ofOne);
  EXPECT_EQ(bench->texts().back().size(), 10'000 * 6U);
}

TEST_F(RavantAgentRunnerTest, cancellingBeforeAnAnswerEndsTheRequest) {
  play({[&](HttpServer::Connection& connection) {
          begun.open();
          connection.awaitClose();
          release.open();
        },
        says({"Here."})});
  EXPECT_EQ(sendAndCancel("one", [&] { return opened(begun); }), "finished");
  bench->await(opened(release));
  EXPECT_EQ(send("two"), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("one", "two", "Here."));
  EXPECT_EQ(model->conversations().back(), "user: one\nuser: two\n");
}

TEST_F(RavantAgentRunnerTest, cancellingWhileTheModelSpeaksKeepsWhatItHasSaid) {
  play({[&](HttpServer::Connection& connection) {
          connection.beginEventStream();
          connection.write(callsEvent({{"a", "bash", R"({"command":"touch never"})"}}));
          connection.write(textEvent("Half a "));
          connection.awaitClose();
        },
        says({"Here."})});
  const auto feed = bench->await(bench->subscribe());
  const auto hasGrown = [&]() -> awaitable<void> {
    for (;;) {
      const auto batch = co_await feed->next();
      if (std::ranges::count(batch->changes, ChangeOperation::grew, &Change::operation) > 0) co_return;
    }
  };
  EXPECT_EQ(sendAndCancel("one", hasGrown), "finished");
  EXPECT_EQ(send("two"), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("one", "Half a ", "two", "Here."));
  EXPECT_EQ(model->conversations().back(), "user: one\nassistant: Half a \nuser: two\n");
  EXPECT_FALSE(std::filesystem::exists(bench->project / "never"));
}

TEST_F(RavantAgentRunnerTest, cancellingWhileAToolRunsEndsItAndGivesEachCallAResult) {
  const std::string hangs = R"({"command":"echo begun; sleep 1000 & echo $! > pid; wait"})";
  play({calls({{"a", "bash", hangs}, {"b", "bash", R"({"command":"touch never"})"}}), says({"Here."})});
  EXPECT_EQ(sendAndCancel("one", [&] { return written("pid"); }), "finished");
  pid_t pid = 0;
  std::ifstream(bench->project / "pid") >> pid;
  bench->await(untilGone({pid}));
  EXPECT_THAT(bench->transcript(), HasSubstr("failed bash a\n"));
  EXPECT_FALSE(bench->hasRunningTool());

  EXPECT_EQ(send("two"), "finished");
  EXPECT_EQ(model->conversations().back(),
            "user: one\nassistant: bash(" + hangs +
                ") bash({\"command\":\"touch never\"})\n"
                "tool: [tool error] begun\n[cancelled]\n"
                "tool: [tool error] Cancelled before the tool had a result.\nuser: two\n");
  EXPECT_FALSE(std::filesystem::exists(bench->project / "never"));
}

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

/// Does not answer.
class SilentKeyStore final : public KeyStore {
 public:
  explicit SilentKeyStore(Gate& asked) : asked_(asked) {}

  std::optional<std::string> read(const KeyName& /*name*/, std::stop_token stop) override {
    asked_.open();
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any changed;
    changed.wait_for(lock, stop, 20s, [] { return false; });
    throw KeyStoreError(KeyStoreError::Case::locked, "no answer");
  }
  void store(const KeyName& /*name*/, const std::string& /*secret*/, const std::string& /*label*/) override {}
  bool remove(const KeyName& /*name*/) override { return false; }

 private:
  Gate& asked_;
};

TEST_F(RavantAgentRunnerTest, cancellingDoesNotWaitForTheKeyStore) {
  keyStore = std::make_shared<SilentKeyStore>(begun);
  play({});
  EXPECT_EQ(sendAndCancel("prompt", [&] { return opened(begun); }), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("prompt"));
}

TEST_F(RavantAgentRunnerTest, cancellingEndsTheWaitForAnotherTry) {
  firstWait = 60s;
  play({[&](HttpServer::Connection& connection) {
    connection.respond(500);
    begun.open();
  }});
  EXPECT_EQ(sendAndCancel("prompt", [&] { return opened(begun); }), "finished");
  EXPECT_THAT(bench->texts(), ElementsAre("prompt"));
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

TEST_F(RavantAgentRunnerTest, aConversationChangesItsProviderAfterACancel) {
  const std::string waits = R"({"command":"echo x > begun; sleep 1000"})";
  play({calls({{"call_0123456789", "bash", waits}}), says({"Here."})});
  EXPECT_EQ(sendAndCancel("one", [&] { return written("begun"); }), "finished");
  slug = "codestral-latest";
  EXPECT_EQ(send("two"), "finished");
  EXPECT_EQ(
      model->conversations().back(),
      "user: one\nassistant: bash(" + waits + ")\ntool: [tool error] [cancelled]\nassistant: (no answer)\nuser: two\n");
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

TEST_F(RavantAgentRunnerTest, aReportOfAbsurdCountsCostsNoMessage) {
  play({[](HttpServer::Connection& connection) {
    connection.beginEventStream();
    connection.write(textEvent("Here."));
    connection.write(chatEvent({{"usage",
                                 {{"prompt_tokens", std::numeric_limits<std::int64_t>::max()},
                                  {"completion_tokens", std::numeric_limits<std::int64_t>::max()}}}}));
    connection.write("data: [DONE]\n\n");
  }});
  EXPECT_EQ(send("prompt"), "finished");
  EXPECT_THAT(bench->transcript(),
              AllOf(HasSubstr("agentMessage \"Here.\""), HasSubstr("message gen-1, tokens in - ")));
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
