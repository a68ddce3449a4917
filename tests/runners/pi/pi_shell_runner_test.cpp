#include "runners/pi/pi_shell_runner.hpp"

#include <gmock/gmock.h>

#include "tests/agents/fake_agent.hpp"
#include "tests/agents/runner_bench.hpp"

namespace ravant::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

TEST(PiShellRunnerTest, aSessionThatIsGoneIsForgottenAndThePromptGivenOnceMore) {
  FakeAgent agent(RAVANT_TESTS_DIR "/agents/pi/unknown_session.cassette");
  RunnerBench bench(AgentType::pi, [](auto container, auto io, auto shell) {
    return std::make_shared<PiShellRunner>(container, ShellRunnerOptions{.io = io, .shell = shell});
  });
  const std::string program = agent.program();
  EXPECT_EQ(bench.send(program, "Begin"), "finished");
  EXPECT_EQ(bench.send(program, "Go on"), "finished");
  EXPECT_THAT(bench.texts(), ElementsAre("Begin", "Begun.", "Go on", testing::HasSubstr("begins anew"), "Begun anew."));
  ASSERT_EQ(agent.invocations().size(), 3U);
  EXPECT_THAT(agent.invocations()[2], Not(Contains("--session")));
  EXPECT_EQ(bench.request(program, "").resumedSessionId, "5e550005-pi");
}

}  // namespace
}  // namespace ravant::test
