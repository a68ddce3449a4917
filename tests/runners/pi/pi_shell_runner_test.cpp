#include "runners/pi/pi_shell_runner.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "runners/pi/pi_turn.hpp"
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

TEST(PiTurn, growsAndKeepsWhatIsNeverComplete) {
  PiTurn turn(std::nullopt);
  const auto delta = [](std::string_view text) {
    return fmt::format(
        R"({{"type":"message_update","assistantMessageEvent":{{"type":"text_delta","contentIndex":1,"delta":"{}"}}}})",
        text);
  };
  EXPECT_THAT(turn.onLine(delta("Hel")), ElementsAre(turn::Action(turn::Grow{"Hel", true})));
  EXPECT_THAT(turn.onLine(delta("lo")), ElementsAre(turn::Action(turn::Grow{"lo", false})));
  const std::string end =
      R"({"type":"message_end","message":{"role":"assistant","content":[{"type":"text","text":"Hello"}]}})";
  EXPECT_THAT(turn.onLine(end), testing::SizeIs(1));
  EXPECT_THAT(turn.onLine(delta("Cut o")), ElementsAre(turn::Action(turn::Grow{"Cut o", true})));
  EXPECT_THAT(turn.onCommandEnd(),
              ElementsAre(turn::Action(turn::AppendAgentMessage{.rawJSON = delta("Cut o"), .text = "Cut o"})));
}

}  // namespace
}  // namespace ravant::test
