#include "runners/cursor/cursor_acp_runner.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <boost/asio/detached.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <functional>
#include <thread>

#include "platform/files/private_file.hpp"
#include "platform/log/log.hpp"
#include "platform/process/shell_quoted.hpp"
#include "tests/agents/runner_bench.hpp"

namespace ravant::test {
namespace {

using namespace asio::experimental::awaitable_operators;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::string cassette(std::string_view name) {
  return std::string(RAVANT_TESTS_DIR) + "/agents/cursor/" + std::string(name) + ".cassette";
}

RunnerBench makeBench(std::chrono::milliseconds idleLimit = std::chrono::minutes(30)) {
  return RunnerBench(AgentType::cursor, [=](auto container, any_io_executor io, ShellOptions shell) {
    return std::make_shared<CursorAcpRunner>(
        std::move(container), RpcRunnerOptions{.io = io, .shell = std::move(shell), .idleLimit = idleLimit});
  });
}

TEST(CursorAcpRunner, keepsAnAgentThatEndsACancelledPromptItself) {
  FakeAgent agent(cassette("cancelled"));
  RunnerBench bench = makeBench();
  const std::string program = agent.program();
  const auto whileWorking = [&]() -> awaitable<void> {
    co_await bench.untilTranscriptHas("Bash");
    co_await bench.cancel();
  };
  EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(program, "stop")) && whileWorking()), "finished");
  EXPECT_THAT(bench.transcript(), AllOf(HasSubstr("completed Bash toolu_1"), HasSubstr("User aborted the command")));
  EXPECT_EQ(bench.send(program, "go on"), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("stop", "Working.", "", "go on", "Still here."));
  EXPECT_THAT(agent.processes(), SizeIs(1));
}

TEST(CursorAcpRunner, doesNotShowAHistoryThatIsReplayed) {
  FakeAgent agent(cassette("replay"));
  RunnerBench bench = makeBench();
  AgentRunRequest request = bench.request(agent.program(), "prompt");
  request.resumedSessionId = "session-1";
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("prompt", "New answer."));
}

TEST(CursorAcpRunner, choosesModelAndEffortAmongWhatIsOffered) {
  FakeAgent agent(cassette("options"));
  RunnerBench bench = makeBench();
  AgentRunRequest request = bench.request(agent.program(), "prompt");
  request.effort = "xhigh";
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("prompt", "Chosen.", "prompt", "Kept."));
}

// The cassette fails when a model is chosen.
TEST(CursorAcpRunner, leavesTheAgentItsOwnChoiceOfAModel) {
  FakeAgent agent(cassette("own_choice"));
  RunnerBench bench = makeBench();
  AgentRunRequest request = bench.request(agent.program(), "prompt");
  request.model = "auto";
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
}

TEST(CursorAcpRunner, failsWithTheAgentsWordsForAModelThatItRefuses) {
  FakeAgent agent(cassette("options"));
  RunnerBench bench = makeBench();
  const std::string program = agent.program();
  AgentRunRequest request = bench.request(program, "prompt");
  request.effort = "xhigh";
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
  request.model = "nonsense";
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "failed: rpc(Invalid params: no such model)");
}

TEST(CursorAcpRunner, saysWhenALoginIsMissing) {
  FakeAgent agent(cassette("no_login"));
  RunnerBench bench = makeBench();
  EXPECT_EQ(bench.send(agent.program(), "prompt"),
            "failed: rpc(Authentication required); authenticate: rpc(Not logged in)");
}

TEST(CursorAcpRunner, keepsASessionThatCannotBeLoadedUntilItHasAnother) {
  FakeAgent agent(cassette("load_refused"));
  RunnerBench bench = makeBench();
  bench.append({turn::SetSession{"session-1"}});
  EXPECT_EQ(bench.send(agent.program(1), "one"), "failed: rpc(Authentication required)");
  EXPECT_EQ(bench.request("", "").resumedSessionId, "session-1");
  EXPECT_EQ(bench.send(agent.program(2), "two"), "failed: rpc(Authentication required)");
  EXPECT_EQ(bench.request("", "").resumedSessionId, "session-1") << "there is no other one yet";
  bench.replaceRunner();
  EXPECT_EQ(bench.send(agent.program(3), "three"), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("one", "two", "three", "Remembered."));
}

RunnerBench makeBench(AcpLimits limits) {
  return RunnerBench(AgentType::cursor, [=](auto container, any_io_executor io, ShellOptions shell) {
    return std::make_shared<CursorAcpRunner>(std::move(container),
                                             RpcRunnerOptions{.io = io, .shell = std::move(shell)}, limits);
  });
}

TEST(CursorAcpRunner, tellsThatItWaitsForALogin) {
  FakeAgent agent(cassette("never_answers"));
  RunnerBench bench = makeBench(AcpLimits{.login = std::chrono::milliseconds(100)});
  const auto changes = bench.await(bench.subscribe());
  EXPECT_EQ(
      bench.send(agent.program(1), "prompt"),
      "failed: the agent was waiting for a login (authenticate) for more than 0.1 s; log in with its own program");
  std::vector<RunState::Kind> waits;
  for (const Change& change : bench.await(changes->next())->changes) {
    if (change.state && change.state->kind != RunState::Kind::thinking) waits.push_back(change.state->kind);
  }
  EXPECT_THAT(waits, ElementsAre(RunState::Kind::waitingForShell, RunState::Kind::waitingForLogin));
}

TEST(CursorAcpRunner, saysWhatItWaitedForInVain) {
  FakeAgent agent(cassette("never_answers"));
  RunnerBench bench = makeBench(AcpLimits{.answer = std::chrono::milliseconds(500)});
  EXPECT_EQ(bench.send(agent.program(2), "prompt"), "failed: the agent did not answer session/new within 0.5 s");
  bench.append({turn::SetSession{"session-1"}});
  EXPECT_EQ(bench.send(agent.program(3), "prompt"), "failed: the agent did not answer session/load within 0.5 s");
  EXPECT_EQ(bench.send(agent.program(4), "prompt"),
            "failed: the agent did not answer session/set_config_option within 0.5 s");
  EXPECT_THAT(survivorsOf(agent), testing::IsEmpty());
}

TEST(CursorAcpRunner, refusesASessionWithoutAnId) {
  FakeAgent agent(cassette("no_session_id"));
  RunnerBench bench = makeBench();
  EXPECT_EQ(bench.send(agent.program(), "prompt"), "failed: rpc(session/new: missing sessionId)");
}

TEST(CursorAcpRunner, endsACallThatBeginsAfterItsTurn) {
  FakeAgent agent(cassette("late"));
  RunnerBench bench = makeBench();
  EXPECT_EQ(bench.send(agent.program(), "one"), "finished");
  const auto lateCallIsEnded = [&]() -> awaitable<void> {
    const auto changes = co_await bench.subscribe();
    agent.release("end");
    while (!bench.transcript().contains("failed Late toolu_2")) co_await changes->next();
  };
  bench.await(lateCallIsEnded());
  EXPECT_FALSE(bench.hasRunningTool());
  EXPECT_EQ(bench.send(agent.program(), "two"), "finished");
  EXPECT_EQ(bench.send(agent.program(), "three"), "finished");
  EXPECT_THAT(bench.transcript(), AllOf(HasSubstr("completed Shown toolu_1"), HasSubstr("out \"shown output\"")));
}

/// Tells when the thread that made it looks at it.
class WatchedClock final : public Clock {
 public:
  Timestamp now() const override {
    if (std::this_thread::get_id() == thread_ && onLook) onLook();
    return kMorning;
  }
  std::function<void()> onLook;

 private:
  std::thread::id thread_ = std::this_thread::get_id();
};

// The runner looks at the clock when it announces something: the cancel comes while it waits for that.
TEST(CursorAcpRunner, startsNoAgentForAPromptThatIsCancelledBefore) {
  for (const int cancelledAt : {1, 2}) {
    FakeAgent agent(cassette("reply"));
    const TemporaryFolder data;
    const TemporaryFolder home;
    OpenStore store(data.path());
    const ConversationId conversation = store.makeConversation(AgentType::cursor, home.path());
    const auto clock = std::make_shared<WatchedClock>();
    const auto container = ModelContainer::open(
        {.folder = data.path(), .work = store.executors.work(), .clock = clock, .processes = store.processes});
    asio::io_context loop;
    const auto runner = std::make_shared<CursorAcpRunner>(
        container, RpcRunnerOptions{.io = loop.get_executor(),
                                    .shell = {.shellPath = "/bin/bash",
                                              .environment = {{"HOME", home.path()}, {"LC_ALL", "C.UTF-8"}},
                                              .ledger = store.processes}});
    int looks = 0;
    clock->onLook = [&] {
      if (++looks == cancelledAt) asio::co_spawn(loop, runner->cancel(conversation), asio::detached);
    };
    run(runner->send({.prompt = "prompt",
                      .model = "mock-model",
                      .effort = {},
                      .conversationId = conversation,
                      .workingDirectory = home.path(),
                      .resumedSessionId = {},
                      .binaryPath = agent.program(1)}),
        loop);
    run(runner->shutdown(), loop);
    run(container->changeFeed()->stop());
    EXPECT_GE(looks, cancelledAt);
    EXPECT_THAT(agent.processes(), testing::IsEmpty()) << "cancelled at look " << cancelledAt;
  }
}

// The cassette compares what the agent is sent.
TEST(CursorAcpRunner, speaksTheProtocolToTheLetter) {
  const TemporaryFolder logs;
  openLogFile(logs.path());
  FakeAgent agent(cassette("letters"));
  RunnerBench bench = makeBench();
  AgentRunRequest request = bench.request(agent.program(), "prompt");
  request.effort = "xhigh";
  const auto whileWorking = [&]() -> awaitable<void> {
    co_await bench.untilTranscriptHas("execute");
    co_await bench.cancel();
  };
  EXPECT_EQ(bench.await(bench.outcomeOf(std::move(request)) && whileWorking()), "finished");
  EXPECT_THAT(agent.processes(), SizeIs(1));
  EXPECT_THAT(survivorsOf(agent), SizeIs(1)) << "it ended the prompt by itself";
  bench.replaceRunner();
  EXPECT_EQ(bench.send(agent.program(), "again"), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("prompt", "Working.", "", "again"));

  openLogFile("/dev/null");
  EXPECT_THAT(
      readFile(logs / "ravant.log").value(),
      AllOf(HasSubstr("CursorAcp unhandled update current_mode_update\n"),
            HasSubstr("CursorAcp unhandled request fs/read_text_file\n"), HasSubstr("CursorAcp[stderr]: a warning\n")));
}

TEST(CursorAcpRunner, startsTheAgentWithItsArguments) {
  FakeAgent agent(cassette("reply"));
  RunnerBench bench = makeBench();
  const TemporaryFolder notes;
  const std::string program =
      notes.write("agent", fmt::format("#!/bin/sh\nprintf '%s|' \"$@\" > {}\nexec {} \"$@\"\n",
                                       shellQuoted((notes / "given").string()), shellQuoted(agent.program())));
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  const auto given = [&] {
    std::ifstream file(notes / "given");
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  EXPECT_EQ(bench.send(program, "one"), "finished");
  EXPECT_EQ(given(), "acp|");
  AgentRunRequest request = bench.request(program, "two");
  request.arguments = {"--experimental-acp", "it's $HOME"};
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
  EXPECT_EQ(given(), "--experimental-acp|it's $HOME|");
}

TEST(CursorAcpRunner, runsConversationsInAgentsOfTheirOwnAndEndsThoseThatRest) {
  FakeAgent agent(cassette("reply"));
  RunnerBench bench = makeBench(std::chrono::milliseconds(50));
  const ConversationId other = bench.addConversation();
  const std::string program = agent.program(1);
  const auto [one, two] = bench.await(bench.outcomeOf(bench.request(program, "one")) &&
                                      bench.outcomeOf(bench.request(program, "two", other)));
  EXPECT_EQ(one, "finished");
  EXPECT_EQ(two, "finished");
  EXPECT_THAT(agent.processes(), SizeIs(2));
  bench.await(untilGone(agent.processes()));
  EXPECT_THAT(bench.texts(other), ElementsAre("two", "First reply."));
}

TEST(CursorAcpRunner, endsTheAgentOfAConversationThatIsReleased) {
  FakeAgent agent(cassette("reply"));
  RunnerBench bench = makeBench();
  const std::string program = agent.program(1);
  EXPECT_EQ(bench.send(program, "one"), "finished");
  EXPECT_THAT(survivorsOf(agent), SizeIs(1));
  bench.await(bench.release());
  EXPECT_THAT(survivorsOf(agent), IsEmpty());
  EXPECT_EQ(bench.send(program, "two"), "finished");
  EXPECT_THAT(agent.processes(), SizeIs(2));
}

}  // namespace
}  // namespace ravant::test
