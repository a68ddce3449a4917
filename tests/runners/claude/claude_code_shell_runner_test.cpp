#include "runners/claude/claude_code_shell_runner.hpp"

#include <gmock/gmock.h>

#include "tests/agents/runner_bench.hpp"

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// A program that goes on behind its result is waited for only a moment.
class LateAgentTest : public testing::Test {
 protected:
  static std::filesystem::path cassette(const std::string& name) {
    return std::string(RAVANT_TESTS_DIR "/agents/claude/") + name + ".cassette";
  }

  FakeAgent late_{cassette("late")};
  FakeAgent replying_{cassette("reply")};
  RunnerBench bench_{AgentType::claude, [](auto container, auto io, auto shell) {
                       return std::make_shared<ClaudeCodeShellRunner>(
                           container, ShellRunnerOptions{.io = io, .shell = shell, .commandEndLimit = 20ms});
                     }};
};

TEST_F(LateAgentTest, whatItSaysLateBelongsToItsTurn) {
  EXPECT_EQ(bench_.send(late_.program(), "first"), "finished");
  late_.release("late");
  bench_.await(bench_.untilTranscriptHas("Late."));
  late_.release("end");
  EXPECT_EQ(bench_.send(replying_.program(1), "second"), "finished");
  EXPECT_THAT(bench_.texts(), ElementsAre("first", "In time.", "Late.", "second", "First reply."));
}

TEST_F(LateAgentTest, theNextPromptEndsIt) {
  EXPECT_EQ(bench_.send(late_.program(), "first"), "finished");
  EXPECT_EQ(bench_.send(replying_.program(1), "second"), "finished");
  EXPECT_THAT(survivorsOf(late_), IsEmpty());
  EXPECT_THAT(bench_.texts(), ElementsAre("first", "In time.", "second", "First reply."));
}

TEST_F(LateAgentTest, cancellingEndsItAfterItsTurnToo) {
  EXPECT_EQ(bench_.send(late_.program(), "first"), "finished");
  bench_.await(bench_.cancel());
  EXPECT_THAT(survivorsOf(late_), IsEmpty());
}

}  // namespace
}  // namespace ravant::test
