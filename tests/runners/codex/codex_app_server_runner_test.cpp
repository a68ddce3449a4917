#include "runners/codex/codex_app_server_runner.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/this_coro.hpp>
#include <filesystem>
#include <functional>
#include <iterator>
#include <utility>
#include <vector>

#include "tests/agents/runner_bench.hpp"

namespace ravant::test {
namespace {

using namespace asio::experimental::awaitable_operators;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::string cassette(std::string_view name) {
  return std::string(RAVANT_TESTS_DIR) + "/agents/codex/" + std::string(name) + ".cassette";
}

RunnerBench makeBench(std::chrono::milliseconds idleLimit = std::chrono::minutes(30)) {
  return RunnerBench(AgentType::codex, [=](auto container, any_io_executor io, ShellOptions shell) {
    return std::make_shared<CodexAppServerRunner>(
        std::move(container), RpcRunnerOptions{.io = io, .shell = std::move(shell), .idleLimit = idleLimit});
  });
}

TEST(CodexAppServerRunner, runsConversationsAtOnceOverOneServer) {
  FakeAgent agent(cassette("two_at_once"));
  RunnerBench bench = makeBench();
  const ConversationId other = bench.addConversation();
  const std::string program = agent.program();
  const auto second = [&]() -> awaitable<std::string> {
    co_await bench.untilTranscriptHas("Working.");
    co_return co_await bench.outcomeOf(bench.request(program, "second", other));
  };
  const auto [one, two] = bench.await(bench.outcomeOf(bench.request(program, "first")) && second());
  EXPECT_EQ(one, "finished");
  EXPECT_EQ(two, "failed: rpc(the second failed)");
  EXPECT_THAT(bench.texts(), ElementsAre("first", "Working.", "", "The first's words."));
  EXPECT_THAT(bench.texts(other), ElementsAre("second", "", "The second's words."));
  EXPECT_THAT(agent.processes(), SizeIs(1));
}

TEST(CodexAppServerRunner, doesNotRunAPromptInAnotherProgramThanItsOwn) {
  FakeAgent waiting(cassette("wait"));
  FakeAgent replying(cassette("reply"));
  RunnerBench bench = makeBench();
  const ConversationId other = bench.addConversation();
  const auto elsewhere = [&]() -> awaitable<std::string> {
    co_await bench.untilTranscriptHas("Working.");
    const std::string outcome = co_await bench.outcomeOf(bench.request(replying.program(1), "second", other));
    waiting.release("end");
    co_return outcome;
  };
  const auto [one, two] = bench.await(bench.outcomeOf(bench.request(waiting.program(), "first")) && elsewhere());
  EXPECT_EQ(one, "finished");
  EXPECT_THAT(two, HasSubstr("another Codex program runs prompts now"));
  EXPECT_THAT(replying.invocations(), IsEmpty());
  EXPECT_EQ(bench.send(replying.program(1), "third"), "finished");
}

TEST(CodexAppServerRunner, failsEveryPromptOfAServerThatDies) {
  FakeAgent dying(cassette("two_die"));
  FakeAgent replying(cassette("reply"));
  RunnerBench bench = makeBench();
  const ConversationId other = bench.addConversation();
  const std::string program = dying.program();
  const auto second = [&]() -> awaitable<std::string> {
    co_await bench.untilTranscriptHas("Working.");
    co_return co_await bench.outcomeOf(bench.request(program, "second", other));
  };
  const auto [one, two] = bench.await(bench.outcomeOf(bench.request(program, "first")) && second());
  EXPECT_EQ(one, "failed: processDied");
  EXPECT_EQ(two, "failed: processDied");
  EXPECT_FALSE(bench.hasRunningTool());
  EXPECT_EQ(bench.send(replying.program(2), "again"), "finished") << "the thread is resumed";
}

TEST(CodexAppServerRunner, keepsAServerThatEndsACancelledTurnItself) {
  FakeAgent agent(cassette("interrupted"));
  RunnerBench bench = makeBench();
  const std::string program = agent.program();
  const auto whileWorking = [&]() -> awaitable<void> {
    co_await bench.untilTranscriptHas("Bash");
    co_await bench.cancel();
  };
  EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(program, "stop")) && whileWorking()), "finished");
  EXPECT_THAT(bench.transcript(), HasSubstr("failed Bash toolu_1"));
  EXPECT_EQ(bench.send(program, "go on"), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("stop", "Working.", "", "go on", "Still here."));
  EXPECT_THAT(agent.processes(), SizeIs(1));
}

RunnerBench makeImpatientBench() {
  return RunnerBench(AgentType::codex, [](auto container, any_io_executor io, ShellOptions shell) {
    return std::make_shared<CodexAppServerRunner>(
        std::move(container),
        RpcRunnerOptions{.io = io, .shell = std::move(shell), .cancelLimit = std::chrono::milliseconds(200)});
  });
}

TEST(CodexAppServerRunner, letsACancelledPromptGoWhereAnotherRuns) {
  for (const std::size_t wait : {1U, 2U, 3U}) {  // in each turn of the cassette for something else
    SCOPED_TRACE(wait);
    FakeAgent agent(cassette("let_go"));
    RunnerBench bench = makeImpatientBench();
    const ConversationId other = bench.addConversation();
    const std::string program = agent.program(wait);
    const auto second = [&]() -> awaitable<std::string> {
      co_await bench.untilTranscriptHas("Working.");
      co_return co_await bench.outcomeOf(bench.request(program, "second", other));
    };
    const auto cancelSecond = [&]() -> awaitable<void> {
      co_await bench.untilTranscriptHas("Asked.");
      co_await bench.cancel(other);
      agent.release("late");
    };
    const auto [one, two] =
        bench.await(bench.outcomeOf(bench.request(program, "first")) && (second() && cancelSecond()));
    EXPECT_EQ(one, "finished");
    EXPECT_EQ(two, "finished");
    EXPECT_THAT(bench.texts(), ElementsAre("first", "Working.", "Asked."));
    EXPECT_THAT(bench.texts(other), ElementsAre("second"));
    EXPECT_THAT(agent.processes(), SizeIs(1));
    bench.await(untilGone(agent.processes()));
  }
}

TEST(CodexAppServerRunner, letsAPromptGoThatCannotBeStoredWhereAnotherRuns) {
  FakeAgent agent(cassette("let_go"));
  RunnerBench bench = makeImpatientBench();
  const ConversationId other = bench.addConversation();
  const std::string program = agent.program(4);
  const auto second = [&]() -> awaitable<std::string> {
    co_await bench.untilTranscriptHas("Working.");
    std::string outcome = co_await bench.outcomeOf(bench.request(program, "second", other));
    agent.release("late");
    co_return outcome;
  };
  const auto loseSecond = [&]() -> awaitable<void> {
    co_await bench.untilTranscriptHas("Asked.");
    bench.loseConversation(other);
    agent.release("lost");
  };
  const auto [one, two] = bench.await(bench.outcomeOf(bench.request(program, "first")) && (second() && loseSecond()));
  EXPECT_EQ(one, "finished");
  EXPECT_THAT(two, HasSubstr("failed: "));
  EXPECT_THAT(bench.texts(), ElementsAre("first", "Working.", "Asked."));
}

TEST(CodexAppServerRunner, doesNotWaitForAProgramThatIsNoServer) {
  FakeAgent silent(cassette("silent"));
  RunnerBench bench(AgentType::codex, [](auto container, any_io_executor io, ShellOptions shell) {
    shell.startLimit = std::chrono::seconds(2);
    return std::make_shared<CodexAppServerRunner>(std::move(container),
                                                  RpcRunnerOptions{.io = io, .shell = std::move(shell)});
  });
  EXPECT_THAT(bench.send(silent.program(), "prompt"), HasSubstr("the agent did not answer within 2 s"));
  EXPECT_THAT(survivorsOf(silent), IsEmpty());
}

TEST(CodexAppServerRunner, keepsTheWordsOfAMessageThatIsNeverComplete) {
  FakeAgent agent(cassette("half_a_message"));
  RunnerBench bench = makeBench();
  const std::string program = agent.program();
  EXPECT_EQ(bench.send(program, "one"), "finished");
  EXPECT_EQ(bench.send(program, "two"), "failed: processDied");
  EXPECT_THAT(bench.texts(), ElementsAre("one", "Only half", "Whole.", "two", "Cut o"));
}

TEST(CodexAppServerRunner, endsAServerThatNobodyNeeds) {
  FakeAgent agent(cassette("reply"));
  RunnerBench bench = makeBench(std::chrono::milliseconds(50));
  const std::string program = agent.program();
  EXPECT_EQ(bench.send(program, "one"), "finished");
  bench.await(untilGone(agent.processes()));
  EXPECT_EQ(bench.send(program, "two"), "finished");
  EXPECT_THAT(agent.processes(), SizeIs(2));
}

TEST(CodexAppServerRunner, asksInTheProtocolsWords) {
  FakeAgent agent(cassette("handshake"));
  RunnerBench bench = makeBench();
  AgentRunRequest first = bench.request(agent.program(1), "go");
  first.effort = "high";
  EXPECT_EQ(bench.await(bench.outcomeOf(first)), "finished");
  EXPECT_EQ(bench.send(agent.program(2), "again"), "finished");
  EXPECT_EQ(bench.texts().back(), "Here again.");
  const ConversationId other = bench.addConversation();
  EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(agent.program(3), "nameless", other))),
            "failed: rpc(thread/start: missing thread id)");
}

TEST(CodexAppServerRunner, keepsAThreadUntilItIsUnknownAndReplaced) {
  FakeAgent agent(cassette("login_expired"));
  RunnerBench bench = makeBench();
  bench.append({turn::SetSession{"thread-old"}});
  const std::string program = agent.program();
  EXPECT_EQ(bench.send(program, "one"), "failed: rpc(the login has expired)");
  EXPECT_EQ(bench.send(program, "two"), "failed: rpc(the login has expired)") << "unknown, but nothing takes its place";
  EXPECT_EQ(bench.request(program, "").resumedSessionId, "thread-old");
  EXPECT_EQ(bench.send(program, "three"), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("one", "two", "three", "I remember."));
}

TEST(CodexAppServerRunner, endsACallThatIsAnnouncedWhenNothingRuns) {
  FakeAgent agent(cassette("late_call"));
  RunnerBench bench = makeBench();
  EXPECT_EQ(bench.send(agent.program(), "one"), "finished");
  agent.release("late");
  bench.await(bench.untilTranscriptHas("shell"));
  EXPECT_THAT(bench.transcript(), HasSubstr("failed shell call_1\n      in  \"npm run watch\"\n      out \"The agent's "
                                            "turn ended before the tool had a result.\""));
}

std::size_t openDescriptors() {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

TEST(CodexAppServerRunner, endsLateCallsOfManyConversationsWithFewConnections) {
  constexpr int kConversations = 40;
  std::string text = "on initialize {}\n";
  for (int i = 1; i <= kConversations; ++i) {
    text += fmt::format(
        "== turn\nreceive thread/start\nreply {{\"thread\":{{\"id\":\"thread-{0}\"}}}}\nreceive-prompt turn/start\n"
        "reply {{\"turn\":{{\"id\":\"turn-{0}\"}}}}\n",
        i);
    const auto tell = [&](int of, std::string_view method, std::string_view members) {
      text += fmt::format(R"({{"method":"{1}","params":{{"threadId":"thread-{0}","turnId":"turn-{0}",{2}}}}})", of,
                          method, members);
      text += '\n';
    };
    if (i == kConversations) {
      tell(1, "item/completed", R"("item":{"type":"commandExecution","id":"c","aggregatedOutput":null,"exitCode":2})");
    }
    tell(i, "item/started", R"("item":{"type":"commandExecution","id":"c","command":"serve","status":"inProgress"})");
    tell(i, "item/commandExecution/outputDelta", R"("itemId":"c","delta":"Listening.")");
    tell(i, "turn/completed", R"("turn":{"status":"completed"})");
  }
  TemporaryFolder folder;
  folder.write("many.cassette", text);
  FakeAgent agent(folder / "many.cassette");
  RunnerBench bench = makeBench();
  const std::string program = agent.program();
  EXPECT_EQ(bench.send(program, "first"), "finished");
  std::size_t open = 0;
  for (int i = 2; i <= kConversations; ++i) {
    const ConversationId other = bench.addConversation();
    EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(program, "next", other))), "finished");
    if (i == kConversations / 2) open = openDescriptors();
  }
  EXPECT_LT(openDescriptors(), open + 10);
  EXPECT_THAT(bench.transcript(),
              HasSubstr("completed shell c\n      in  \"serve\"\n      out \"Listening.\\nexit code 2\""));
}

/// The changes up to the first one that `isLast`.
awaitable<std::vector<Change>> changesUntil(std::shared_ptr<ChangeSubscription> feed,
                                            std::function<bool(const Change&)> isLast) {
  std::vector<Change> seen;
  for (;;) {
    const auto batch = co_await feed->next();
    if (!batch) co_return seen;
    for (const Change& change : batch->changes) {
      seen.push_back(change);
      if (isLast(change)) co_return seen;
    }
  }
}

TEST(CodexAppServerRunner, tellsWhatItWaitsForAndWhatCommandsPrint) {
  FakeAgent agent(cassette("works"));
  RunnerBench bench = makeBench();
  const auto feed = bench.await(bench.subscribe());
  const auto watch = [&]() -> awaitable<void> {
    const auto isRetrying = [](const Change& change) {
      return change.state && change.state->kind == RunState::Kind::retrying;
    };
    std::vector<RunState::Kind> kinds;
    for (const Change& change : co_await changesUntil(feed, isRetrying)) {
      if (change.state && (kinds.empty() || kinds.back() != change.state->kind)) kinds.push_back(change.state->kind);
      if (isRetrying(change)) EXPECT_EQ(change.state->reason, "Reconnecting... 1/5");
    }
    using enum RunState::Kind;
    EXPECT_THAT(kinds, ElementsAre(thinking, waitingForShell, thinking, retrying));

    agent.release("reasoning");
    const auto grown = co_await changesUntil(feed, [](const Change& change) { return change.growth.has_value(); });
    EXPECT_EQ(grown.back().growth, (Growth{"I should build.", true, GrowthKind::reasoning}));

    agent.release("command");
    co_await bench.untilTranscriptHas("Building.");
    EXPECT_THAT(bench.transcript(), HasSubstr("running shell call_1\n      in  \"make all\"\n      out \"one\\n\""));
    agent.release("end");
  };
  EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(agent.program(), "build")) && watch()), "finished");
  EXPECT_THAT(bench.transcript(), HasSubstr("failed shell call_1\n      in  \"make all\"\n      out "
                                            "\"one\\ntwo\\nexit code 2\""));
  EXPECT_THAT(bench.texts(), ElementsAre("build", "", "Building."));
}

TEST(CodexAppServerRunner, doesNotKeepTheEndOfALongOutputToItself) {
  FakeAgent agent(cassette("long_output"));
  RunnerBench bench = makeBench();
  const auto feed = bench.await(bench.subscribe());
  const auto watch = [&]() -> awaitable<void> {
    const auto isShown = [&](std::string_view output) {
      return [&bench, output](const Change&) { return bench.transcript().contains(output); };
    };
    co_await changesUntil(feed, isShown("xxx"));
    agent.release("more");
    co_await changesUntil(feed, isShown("Listening."));
    EXPECT_THAT(bench.transcript(), HasSubstr("running shell call_1"));
    agent.release("end");
  };
  EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(agent.program(), "build")) && watch()), "finished");
}

}  // namespace
}  // namespace ravant::test
