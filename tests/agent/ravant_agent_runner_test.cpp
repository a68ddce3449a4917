#include "tests/agent/ravant_agent_runner_test.hpp"

#include <gmock/gmock.h>

#include <limits>

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
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

}  // namespace
}  // namespace ravant::test
