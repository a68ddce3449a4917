#include <fmt/format.h>
#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <map>

#include "core/agent_command.hpp"
#include "tests/contracts/runner_under_test.hpp"

namespace ravant::test {
namespace {

using namespace asio::experimental::awaitable_operators;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

/// What every runner does alike, whatever its agent speaks.
class RunnerContractTest : public testing::TestWithParam<RunnerUnderTest> {
 protected:
  static RunnerBench makeBench(std::string shell = "/bin/bash") {
    return RunnerBench(GetParam().type, GetParam().makeRunner, std::move(shell));
  }
  static bool isServer() { return GetParam().hosting == RunnerUnderTest::Hosting::server; }
  static FakeAgent agentThat(std::string_view cassette) { return FakeAgent(GetParam().cassette(cassette)); }
};

TEST_P(RunnerContractTest, aSecondPromptIsRefusedWhileOneRuns) {
  FakeAgent agent = agentThat("wait");
  RunnerBench bench = makeBench();
  const auto whileWorking = [&]() -> awaitable<std::string> {
    co_await bench.untilTranscriptHas("Working.");
    const std::string outcome = co_await bench.outcomeOf(bench.request(agent.program(), "second"));
    agent.release("end");
    co_return outcome;
  };
  const auto [first, second] = bench.await(bench.outcomeOf(bench.request(agent.program(), "first")) && whileWorking());
  EXPECT_EQ(first, "finished");
  EXPECT_EQ(second, "failed: busy");
  EXPECT_THAT(bench.texts(), ElementsAre("first", "Working."));
  EXPECT_EQ(agent.invocations().size(), 1U);
}

TEST_P(RunnerContractTest, anAgentIsStoppedWhenItsConversationIsGone) {
  FakeAgent agent = agentThat("goes_on");
  RunnerBench bench = makeBench();
  const auto whileWorking = [&]() -> awaitable<void> {
    co_await bench.untilTranscriptHas("Working.");
    bench.loseConversation();
    agent.release("more");
  };
  EXPECT_THAT(bench.await(bench.outcomeOf(bench.request(agent.program(), "prompt")) && whileWorking()),
              HasSubstr("the conversation was deleted"));
  EXPECT_THAT(survivorsOf(agent), IsEmpty());
  EXPECT_THAT(bench.send(agent.program(), "prompt"), HasSubstr("the conversation was deleted"));
  EXPECT_EQ(agent.invocations().size(), 1U) << "nothing was sent";
}

TEST_P(RunnerContractTest, cancellingEndsEverythingAndTheNextPromptRuns) {
  FakeAgent hanging = agentThat("hang");
  FakeAgent replying = agentThat("reply");
  RunnerBench bench = makeBench();
  const auto whileWorking = [&]() -> awaitable<std::chrono::steady_clock::duration> {
    co_await bench.untilTranscriptHas("Bash");
    const auto start = std::chrono::steady_clock::now();
    co_await bench.cancel();
    co_return std::chrono::steady_clock::now() - start;
  };
  const auto [outcome, time] = bench.await(bench.outcomeOf(bench.request(hanging.program(), "hang")) && whileWorking());
  EXPECT_EQ(outcome, "finished");
  // A server is given time to end the turn by itself.
  EXPECT_LT(time, isServer() ? 6s : 3s);
  EXPECT_EQ(hanging.processes().size(), isServer() ? 2U : 3U) << "the shell, the agent and what it left behind";
  EXPECT_THAT(survivorsOf(hanging), IsEmpty());
  EXPECT_THAT(bench.transcript(), HasSubstr("failed Bash toolu_1"));

  EXPECT_EQ(bench.send(replying.program(2), "go on"), "finished") << "the session is resumed";
  EXPECT_THAT(bench.texts(), ElementsAre("hang", "Working.", "", "go on", "Second reply."));
  EXPECT_THAT(bench.endReasons(), ElementsAre("cancelled", "finished"));
}

TEST_P(RunnerContractTest, cancellingDoesNotWaitForThePromptThatComesNext) {
  FakeAgent hanging = agentThat("hang");
  FakeAgent waiting = agentThat("wait");
  RunnerBench bench = makeBench();
  const auto sendBoth = [&]() -> awaitable<std::string> {
    co_await bench.outcomeOf(bench.request(hanging.program(), "hang"));
    co_return co_await bench.outcomeOf(bench.request(waiting.program(), "wait"));
  };
  const auto whileHanging = [&]() -> awaitable<void> {
    co_await bench.untilTranscriptHas("Bash");
    co_await bench.cancel();
    waiting.release("end");
  };
  EXPECT_EQ(bench.await(sendBoth() && whileHanging()), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("hang", "Working.", "", "wait", "Working."));
}

TEST_P(RunnerContractTest, cancellingWhileTheShellStartsEndsTheTurn) {
  FakeAgent replying = agentThat("reply");
  RunnerBench bench = makeBench();
  bench.home().write(".bash_profile", "mkfifo ~/never; [ -e ~/ready ] || : < ~/never");
  const auto cancelled = [&]() -> awaitable<void> {
    co_await bench.untilTranscriptHas("begin");
    co_await bench.cancel();
  };
  EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(replying.program(1), "begin")) && cancelled()), "finished");
  EXPECT_THAT(replying.invocations(), IsEmpty());

  EXPECT_EQ(bench.await(bench.outcomeOf(bench.request(replying.program(1), "again")) && bench.cancel()), "finished");
  EXPECT_THAT(replying.invocations(), IsEmpty());

  bench.home().write("ready", {});
  EXPECT_EQ(bench.send(replying.program(1), "now"), "finished");
  bench.await(bench.cancel());
  EXPECT_EQ(bench.send(replying.program(1), "and now"), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("begin", "again", "now", "First reply.", "and now", "First reply."));
}

TEST_P(RunnerContractTest, anAgentThatEndsBeforeItsTurnIsHeardInItsOwnWords) {
  FakeAgent ending = agentThat("ends_early");
  FakeAgent replying = agentThat("reply");
  for (const std::string shell : {"/bin/bash", "/bin/zsh", "/bin/dash"}) {
    SCOPED_TRACE(shell);
    RunnerBench bench = makeBench(shell);
    const auto orProcessDied = [](const std::string& words) { return isServer() ? "failed: processDied" : words; };
    EXPECT_EQ(bench.send(ending.program(1), "prompt"),
              orProcessDied("failed: agentExitedSilently: complaint: the first line\nthe second line"));
    EXPECT_FALSE(bench.hasRunningTool());
    // This one ends before it has said a word.
    EXPECT_EQ(bench.send(ending.program(2), "prompt"), "failed: agentExitedSilently: complaint: not today");
    EXPECT_THAT(bench.send(ending.program(3), "prompt"),
                MatchesRegex(orProcessDied("failed: agentExitedSilently: last words(\nKilled)?")));
    EXPECT_EQ(bench.send(replying.program(1), "prompt"), "finished");
    EXPECT_THAT(bench.endReasons(), ElementsAre("failed", "failed", "failed", "finished"));
  }
  EXPECT_THAT(survivorsOf(ending), IsEmpty());
}

/// What runners do alike whose prompts are commands in a shell.
class ShellRunnerContractTest : public RunnerContractTest {};

TEST_P(ShellRunnerContractTest, aShellThatDiesFailsTheTurnAndTheNextPromptRuns) {
  FakeAgent killing = agentThat("ends_early");
  FakeAgent replying = agentThat("reply");
  for (const std::string shell : {"/bin/bash", "/bin/zsh", "/bin/dash"}) {
    SCOPED_TRACE(shell);
    RunnerBench bench = makeBench(shell);
    EXPECT_EQ(bench.send(killing.program(4), "prompt"), "failed: processDied");
    EXPECT_FALSE(bench.hasRunningTool());
    EXPECT_THAT(survivorsOf(killing), IsEmpty()) << "the agent and what it left behind outlived the shell";
    EXPECT_EQ(bench.send(replying.program(2), "prompt"), "finished") << "the session is resumed";
  }
}

TEST_P(ShellRunnerContractTest, theStartOfTheShellIsAnnouncedWhereThereIsOne) {
  FakeAgent replying = agentThat("reply");
  RunnerBench bench = makeBench();
  const std::string program = replying.program();
  const auto changes = bench.await(bench.subscribe());
  const auto announcedBy = [&](std::string prompt) {
    EXPECT_EQ(bench.send(program, std::move(prompt)), "finished");
    std::vector<RunState::Kind> kinds;
    for (const Change& change : bench.await(changes->next())->changes) {
      if (change.state) kinds.push_back(change.state->kind);
    }
    return kinds;
  };
  const auto first = announcedBy("one");
  const auto waiting = std::ranges::find(first, RunState::Kind::waitingForShell);
  ASSERT_NE(waiting, first.end());
  EXPECT_EQ(std::vector(waiting + 1, first.end()), std::vector{RunState::Kind::thinking});
  EXPECT_THAT(announcedBy("two"), Not(Contains(RunState::Kind::waitingForShell)));
}

TEST_P(RunnerContractTest, anAgentThatIsNotThereIsNamed) {
  FakeAgent replying = agentThat("reply");
  for (const std::string shell : {"/bin/bash", "/bin/zsh", "/bin/dash"}) {
    SCOPED_TRACE(shell);
    RunnerBench bench = makeBench(shell);
    EXPECT_THAT(bench.send("/no/such/agent", "prompt"),
                AllOf(StartsWith("failed: agentExitedSilently: "), HasSubstr("/no/such/agent")));
    EXPECT_THAT(bench.texts(), ElementsAre("prompt"));
    EXPECT_EQ(bench.send(replying.program(1), "prompt"), "finished");
  }
}

TEST_P(RunnerContractTest, linesThatMeanNothingAreIgnored) {
  FakeAgent replying = agentThat("reply");
  RunnerBench plain = makeBench();
  RunnerBench noisy = makeBench();
  for (std::size_t turn = 1; turn <= 3; ++turn) {
    EXPECT_EQ(plain.send(replying.program(turn), "prompt"), "finished");
    EXPECT_EQ(noisy.send(replying.program(turn, {.kind = CassetteFault::Kind::noise}), "prompt"), "finished");
  }
  EXPECT_EQ(noisy.transcript(), plain.transcript());
}

// The cassette's later turns fail unless they are asked to resume.
TEST_P(RunnerContractTest, theSessionIsResumedByThisAndByAnotherRunner) {
  FakeAgent replying = agentThat("reply");
  RunnerBench bench = makeBench();
  const std::string program = replying.program();
  EXPECT_EQ(bench.send(program, "one"), "finished");
  AgentRunRequest withoutSession = bench.request(program, "two");
  withoutSession.resumedSessionId.reset();
  EXPECT_EQ(bench.await(bench.outcomeOf(withoutSession)), "finished");

  bench.replaceRunner();
  EXPECT_EQ(bench.send(program, "three"), "finished");
  withoutSession.prompt = "four";
  withoutSession.binaryPath = replying.program(3);
  EXPECT_EQ(bench.await(bench.outcomeOf(withoutSession)), "finished") << "it was told the session once";
  EXPECT_THAT(bench.texts(), ElementsAre("one", "First reply.", "two", "Second reply.", "three", "Third reply.", "four",
                                         "Third reply."));
}

TEST_P(RunnerContractTest, promptsArriveAsTheyWereWritten) {
  const std::vector<std::string> prompts = {
      "it's \"quoted\" and `ticked`",
      "$HOME $(touch owned) ${x:-y} `id` \\$ \\\\ \\n !! !x #no ;& | > f < g * ? [a] {b,c} ~ %s %%",
      "first line\nsecond\n\n\tafter a blank one, with a tab\r\nand so on",
      "emoji \U0001F600 and \u00e4\u00f6\u00fc, \u4f60\u597d, e\u0301",
      "-p",
      "--",
      "--version",
      "-- item",
      "@file",
      "/context",
      " \n padded",
      "=",
      "'",
      "\\",
      std::string("\x01\x1b[31m\x7f")};
  for (const std::string shell : {"/bin/bash", "/bin/zsh", "/bin/dash"}) {
    SCOPED_TRACE(shell);
    FakeAgent replying = agentThat("reply");
    RunnerBench bench = makeBench(shell);
    const std::string program = replying.program(1);
    for (const std::string& prompt : prompts) EXPECT_EQ(bench.send(program, prompt), "finished");

    std::vector<std::string> arrived;
    for (const auto& arguments : replying.invocations()) arrived.push_back(GetParam().promptOf(arguments));
    EXPECT_EQ(arrived, prompts);
    EXPECT_FALSE(std::filesystem::exists(bench.project / "owned"));
  }
}

TEST_P(ShellRunnerContractTest, anOversizedPromptIsRefusedAndKept) {
  const std::size_t limit = AgentCommand::largestPromptBytes();
  struct Largest {
    std::string shell;
    std::string named;
    std::size_t size;
  };
  for (const auto& [shell, named, size] :
       {Largest{"/bin/bash", "this system", limit}, Largest{"/bin/zsh", "zsh", 120'000},
        Largest{"/bin/dash", "this system", limit}}) {
    SCOPED_TRACE(shell);
    const std::string oversized(size + 1, 'x');
    FakeAgent replying = agentThat("reply");
    RunnerBench bench = makeBench(shell);
    EXPECT_EQ(
        bench.send(replying.program(1), oversized),
        fmt::format("failed: the prompt is too long: it has {} bytes, and {} passes at most {} bytes to a command",
                    oversized.size(), named, size));
    const std::string prompt(size, 'x');
    EXPECT_EQ(bench.send(replying.program(1), prompt), "finished");
    EXPECT_TRUE(bench.texts() == std::vector<std::string>({oversized, prompt, "First reply."}));
    ASSERT_EQ(replying.invocations().size(), 1U);
    EXPECT_TRUE(GetParam().promptOf(replying.invocations().front()) == prompt);
  }
}

/// What runners do alike whose agent is a server.
class ServerRunnerContractTest : public RunnerContractTest {};

TEST_P(ServerRunnerContractTest, aServerThatLeavesWhileItIsPreparedFailsTheTurnAndTheNextPromptRuns) {
  FakeAgent leaving = agentThat("reply");
  FakeAgent replying = agentThat("reply");
  RunnerBench bench = makeBench();
  std::string outcome;
  for (std::size_t rules = 0; outcome != "finished"; ++rules) {
    SCOPED_TRACE(rules);
    ASSERT_LT(rules, 10U);
    outcome = bench.send(leaving.program(1, {.kind = CassetteFault::Kind::leave, .line = rules}), "prompt");
    if (outcome == "finished") break;
    EXPECT_THAT(outcome, testing::AnyOf("failed: agentExitedSilently (no stderr)", "failed: processDied",
                                        "failed: notConnected"));
    EXPECT_EQ(bench.send(replying.program(1), "prompt"), "finished");
    EXPECT_EQ(bench.texts().back(), "First reply.");
  }
}

TEST_P(RunnerContractTest, aSessionThatIsGoneIsReplacedAndTheTranscriptSaysSo) {
  FakeAgent agent = agentThat("unknown_session");
  RunnerBench bench = makeBench();
  AgentRunRequest request = bench.request(agent.program(), "prompt");
  request.resumedSessionId = "session-gone";
  EXPECT_EQ(bench.await(bench.outcomeOf(request)), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("prompt", HasSubstr("begins anew"), "A new beginning."));
  EXPECT_THAT(agent.invocations().back(), Not(Contains("session-gone")));
  EXPECT_THAT(bench.request("", "").resumedSessionId, testing::AnyOf("thread-1", "session-1"));
}

TEST_P(RunnerContractTest, theAgentRunsInTheProjectsFolderWhateverItsName) {
  for (const std::string shell : {"/bin/bash", "/bin/zsh", "/bin/dash"}) {
    SCOPED_TRACE(shell);
    FakeAgent replying = agentThat("reply");
    RunnerBench bench = makeBench(shell);
    bench.project = bench.home() / "it's a \"$folder\" \\ \U0001F600 \n*";
    std::filesystem::create_directory(bench.project);
    EXPECT_EQ(bench.send(replying.program(1), "prompt"), "finished");
    EXPECT_THAT(replying.workingDirectories(), ElementsAre(bench.project));
  }
}

TEST_P(RunnerContractTest, aMissingFolderIsNamedAndThePromptKept) {
  FakeAgent replying = agentThat("reply");
  RunnerBench bench = makeBench();
  bench.project = bench.home() / "moved away";
  EXPECT_EQ(bench.send(replying.program(1), "prompt"),
            fmt::format("failed: the folder {} is gone; put it back, or choose another one", bench.project.string()));
  EXPECT_THAT(bench.texts(), ElementsAre("prompt"));

  std::filesystem::create_directory(bench.project);
  EXPECT_EQ(bench.send(replying.program(1), "again"), "finished");
}

TEST_P(RunnerContractTest, aFolderThatWasMadeAnewIsTheOneThatTheAgentRunsIn) {
  FakeAgent replying = agentThat("reply");
  RunnerBench bench = makeBench();
  const std::string program = replying.program();
  EXPECT_EQ(bench.send(program, "one"), "finished");
  std::filesystem::remove(bench.project);
  EXPECT_THAT(bench.send(program, "two"), HasSubstr("is gone"));
  std::filesystem::create_directory(bench.project);
  EXPECT_EQ(bench.send(program, "three"), "finished");
  EXPECT_THAT(replying.workingDirectories(), ElementsAre(bench.project, bench.project));
}

TEST_P(RunnerContractTest, aShellThatIsNoneIsNamedAndThePromptKept) {
  FakeAgent replying = agentThat("reply");
  for (const std::string shell : {"/no/such/shell", "/bin/true"}) {
    RunnerBench bench = makeBench(shell);
    EXPECT_THAT(bench.send(replying.program(1), "prompt"), StartsWith("failed: " + shell));
    EXPECT_THAT(bench.texts(), ElementsAre("prompt"));
  }
}

INSTANTIATE_TEST_SUITE_P(Runners, RunnerContractTest, testing::ValuesIn(runnersUnderTest()),
                         [](const auto& info) { return std::string(rawValue(info.param.type)); });
INSTANTIATE_TEST_SUITE_P(Runners, ServerRunnerContractTest,
                         testing::ValuesIn(runnersUnderTest(RunnerUnderTest::Hosting::server)),
                         [](const auto& info) { return std::string(rawValue(info.param.type)); });
INSTANTIATE_TEST_SUITE_P(Runners, ShellRunnerContractTest,
                         testing::ValuesIn(runnersUnderTest(RunnerUnderTest::Hosting::shell)),
                         [](const auto& info) { return std::string(rawValue(info.param.type)); });

}  // namespace
}  // namespace ravant::test
