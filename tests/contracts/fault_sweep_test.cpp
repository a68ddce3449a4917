#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <span>

#include "tests/contracts/runner_under_test.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::Eq;
using testing::IsEmpty;
using testing::StartsWith;

struct Sweep {
  RunnerUnderTest runner;
  std::filesystem::path cassette;
};

std::vector<Sweep> sweeps() {
  std::vector<Sweep> sweeps;
  for (const RunnerUnderTest& runner : runnersUnderTest()) {
    for (const auto& cassette : runner.goldenCassettes()) sweeps.push_back({runner, cassette});
  }
  return sweeps;
}

/// A failure in words that stand in the agent's lines.
MATCHER_P(ReportedIn, lines, "") {
  constexpr std::string_view kFailed = "failed: ";
  return arg.starts_with(kFailed) && std::ranges::any_of(lines, [&](const std::string& line) {
           return line.contains("\"" + arg.substr(kFailed.size()) + "\"");
         });
}

/// Every conversation, broken off behind every line.
class FaultSweepTest : public testing::TestWithParam<Sweep> {
 protected:
  /// What is left of the turn decides whether the agent finished it.
  void expectEnd(const std::string& outcome, std::span<const std::string> linesLeft, const std::string& wholeOutcome) {
    const bool isOver = std::ranges::any_of(linesLeft, GetParam().runner.endsTurn);
    if (isOver) {
      EXPECT_EQ(outcome, wholeOutcome);
    } else {
      const auto itsOwnFailure = AllOf(StartsWith("failed: "), Eq(wholeOutcome));
      EXPECT_THAT(outcome, AnyOf(StartsWith("failed: agentExitedSilently"), Eq("failed: processDied"),
                                 Eq("failed: notConnected"), itsOwnFailure, ReportedIn(linesLeft)));
    }
  }
};

TEST_P(FaultSweepTest, everyBrokenTurnEndsAndTheNextPromptRuns) {
  const auto& [runner, cassette] = GetParam();
  FakeAgent agent(cassette);
  FakeAgent replying(runner.cassette("reply"));
  RunnerBench bench(runner.type, runner.makeRunner);
  const std::string reply = replying.program(1);
  const auto turns = readCassette(cassette);
  for (std::size_t turn = 0; turn < turns.size(); ++turn) {
    const std::span<const std::string> lines = turns[turn].lines;
    const std::string whole = bench.send(agent.program(turn + 1), "prompt");
    for (std::size_t line = 0; line < lines.size(); ++line) {
      for (const auto kind : {CassetteFault::Kind::stop, CassetteFault::Kind::kill}) {
        const CassetteFault fault{.kind = kind, .line = line};
        SCOPED_TRACE(fmt::format("turn {}, {}", turn + 1, fault.text()));
        expectEnd(bench.send(agent.program(turn + 1, fault), "prompt"), lines.first(line), whole);
        EXPECT_FALSE(bench.hasRunningTool());
      }
      EXPECT_EQ(bench.send(reply, "prompt"), "finished") << "after turn " << turn + 1 << ", line " << line;
      EXPECT_EQ(bench.texts().back(), "First reply.");
    }
  }
  bench.replaceRunner();
  EXPECT_THAT(survivorsOf(agent), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Runners, FaultSweepTest, testing::ValuesIn(sweeps()), [](const auto& info) {
  return fmt::format("{}_{}", rawValue(info.param.runner.type), info.param.cassette.stem().string());
});

}  // namespace
}  // namespace ravant::test
