#include "runners/shell_runner.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <signal.h>

#include <boost/asio/experimental/awaitable_operators.hpp>

#include "runners/claude/claude_code_shell_runner.hpp"
#include "runners/pi/pi_shell_runner.hpp"
#include "tests/agents/runner_bench.hpp"
#include "tests/support/processes.hpp"

namespace ravant::test {
namespace {

using namespace asio::experimental::awaitable_operators;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// Runners that lose their patience soon.
struct ImpatientRunner {
  AgentType type;
  std::chrono::milliseconds idleLimit;
};

MakeRunner makeImpatient(const ImpatientRunner& impatient) {
  return [impatient](auto container, auto io, auto shell) -> std::shared_ptr<AgentRunner> {
    const ShellRunnerOptions options{
        .io = io, .shell = shell, .commandEndLimit = 20ms, .idleLimit = impatient.idleLimit};
    if (impatient.type == AgentType::pi) return std::make_shared<PiShellRunner>(container, options);
    return std::make_shared<ClaudeCodeShellRunner>(container, options);
  };
}

class ShellRunnerTest : public testing::TestWithParam<AgentType> {
 protected:
  static std::string cassette(std::string_view name) {
    return fmt::format("{}/agents/{}/{}.cassette", RAVANT_TESTS_DIR, rawValue(GetParam()), name);
  }

  FakeAgent late_{cassette("late")};
  FakeAgent replying_{cassette("reply")};
  RunnerBench bench_{GetParam(), makeImpatient({.type = GetParam(), .idleLimit = 60s})};
};

TEST_P(ShellRunnerTest, whatAnAgentSaysLateBelongsToItsTurn) {
  EXPECT_EQ(bench_.send(late_.program(), "first"), "finished");
  late_.release("late");
  bench_.await(bench_.untilTranscriptHas("Late."));
  late_.release("end");
  EXPECT_EQ(bench_.send(replying_.program(1), "second"), "finished");
  EXPECT_THAT(bench_.texts(), ElementsAre("first", "In time.", "Late.", "", "second", "First reply."));
  EXPECT_FALSE(bench_.hasRunningTool());
}

TEST_P(ShellRunnerTest, theNextPromptEndsALateAgent) {
  EXPECT_EQ(bench_.send(late_.program(), "first"), "finished");
  EXPECT_EQ(bench_.send(replying_.program(1), "second"), "finished");
  EXPECT_THAT(survivorsOf(late_), IsEmpty());
  EXPECT_THAT(bench_.texts(), ElementsAre("first", "In time.", "second", "First reply."));
}

TEST_P(ShellRunnerTest, cancellingEndsALateAgentToo) {
  EXPECT_EQ(bench_.send(late_.program(), "first"), "finished");
  late_.release("late");
  bench_.await(bench_.untilTranscriptHas("Late."));
  bench_.await(bench_.cancel());
  EXPECT_THAT(survivorsOf(late_), IsEmpty());
  EXPECT_FALSE(bench_.hasRunningTool());
}

TEST_P(ShellRunnerTest, aShellThatIsReleasedEndsOnlyWhereNothingRuns) {
  EXPECT_EQ(bench_.send(late_.program(), "first"), "finished");
  bench_.await(bench_.release());
  EXPECT_THAT(survivorsOf(late_), testing::SizeIs(2)) << "the agent still works, in its shell";
  bench_.await(bench_.cancel());

  EXPECT_EQ(bench_.send(replying_.program(1), "second"), "finished");
  bench_.await(bench_.release());
  EXPECT_THAT(survivorsOf(replying_), IsEmpty());
}

TEST_P(ShellRunnerTest, anIdleShellIsEndedAndTheNextPromptResumes) {
  RunnerBench bench(GetParam(), makeImpatient({.type = GetParam(), .idleLimit = 1ms}));
  const std::string program = replying_.program();
  EXPECT_EQ(bench.send(program, "one"), "finished");
  bench.await(untilGone(replying_.processes()));
  EXPECT_EQ(bench.send(program, "two"), "finished") << "the session is resumed";
  EXPECT_THAT(bench.texts(), ElementsAre("one", "First reply.", "two", "Second reply."));
}

TEST_P(ShellRunnerTest, aSessionThatAnotherProgramBeganIsResumed) {
  const std::string program = replying_.program(1);
  EXPECT_EQ(bench_.send(program, "one"), "finished");
  bench_.append({turn::SetSession{"5e55-other"}});
  AgentRunRequest request = bench_.request(program, "two");
  EXPECT_EQ(bench_.await(bench_.outcomeOf(request)), "finished");
  EXPECT_THAT(replying_.invocations().back(), testing::Contains("5e55-other"));

  EXPECT_EQ(bench_.await(bench_.outcomeOf(request)), "finished");
  EXPECT_THAT(replying_.invocations().back(), testing::Contains("5e55-one")) << "the agent has gone on to that";
}

TEST_P(ShellRunnerTest, aShellThatEndedWhileNothingRanIsGivenUpToo) {
  EXPECT_EQ(bench_.send(replying_.program(1), "prompt"), "finished");
  const std::ptrdiff_t held = openDescriptors();
  const pid_t shell = replying_.processes().front();
  ::kill(shell, SIGKILL);
  bench_.await(untilGone({shell}));
  bench_.await(bench_.release());
  EXPECT_LT(openDescriptors(), held);
}

/// What an agent detached on purpose is still there in the end, and nothing else of it.
class DetachingAgentTest : public testing::Test {
 protected:
  void expectOneSurvivor() {
    const std::vector<pid_t> survivors = survivorsOf(detaching_);
    EXPECT_THAT(survivors, ElementsAre(detaching_.processes().back()));
    for (const pid_t pid : survivors) ::kill(pid, SIGKILL);
  }

  FakeAgent detaching_{fmt::format("{}/agents/claude/detaches.cassette", RAVANT_TESTS_DIR)};
  FakeAgent hanging_{fmt::format("{}/agents/claude/hang.cassette", RAVANT_TESTS_DIR)};
  RunnerBench bench_{AgentType::claude, makeImpatient({.type = AgentType::claude, .idleLimit = 60s})};
};

TEST_F(DetachingAgentTest, itsServerOutlivesAPromptThatCannotBeStored) {
  const auto whileWorking = [&]() -> awaitable<void> {
    co_await bench_.untilTranscriptHas("Working.");
    bench_.loseConversation();
    detaching_.release("more");
  };
  EXPECT_THAT(bench_.await(bench_.outcomeOf(bench_.request(detaching_.program(1), "prompt")) && whileWorking()),
              testing::HasSubstr("the conversation was deleted"));
  expectOneSurvivor();
}

TEST_F(DetachingAgentTest, whatItDetachesLateIsNotOfTheNextPrompt) {
  EXPECT_EQ(bench_.send(detaching_.program(2), "first"), "finished");
  detaching_.release("late");
  bench_.await(bench_.untilTranscriptHas("Late."));
  const auto cancelWhileWorking = [&]() -> awaitable<void> {
    co_await bench_.untilTranscriptHas("Working.");
    co_await bench_.cancel();
  };
  bench_.await(bench_.outcomeOf(bench_.request(hanging_.program(), "second")) && cancelWhileWorking());
  EXPECT_THAT(survivorsOf(hanging_), IsEmpty());
  expectOneSurvivor();
}

INSTANTIATE_TEST_SUITE_P(Agents, ShellRunnerTest, testing::Values(AgentType::claude, AgentType::pi),
                         [](const auto& info) { return std::string(rawValue(info.param)); });

}  // namespace
}  // namespace ravant::test
