#include "runners/claude/claude_code_shell_runner.hpp"

#include <gmock/gmock.h>

#include "tests/agents/runner_bench.hpp"

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(ClaudeCodeShellRunnerTest, itsRefusalToRunAsRootIsExplained) {
  FakeAgent refusing(RAVANT_TESTS_DIR "/agents/claude/refuses_root.cassette");
  RunnerBench bench(AgentType::claude, [](auto container, auto io, auto shell) {
    return std::make_shared<ClaudeCodeShellRunner>(container, ShellRunnerOptions{.io = io, .shell = shell});
  });
  EXPECT_THAT(bench.send(refusing.program(), "prompt"),
              AllOf(StartsWith("failed: agentExitedSilently: --dangerously-skip-permissions cannot be used with root"),
                    HasSubstr("\nClaude Code does not run as root"), HasSubstr("settings set claude.asRoot true")));
}

}  // namespace
}  // namespace ravant::test
