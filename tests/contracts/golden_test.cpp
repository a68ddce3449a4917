#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "tests/contracts/runner_under_test.hpp"

namespace ravant::test {
namespace {

struct Golden {
  RunnerUnderTest runner;
  std::filesystem::path cassette;
};

std::vector<Golden> goldens() {
  std::vector<Golden> all;
  for (const RunnerUnderTest& runner : runnersUnderTest()) {
    for (const auto& cassette : runner.goldenCassettes()) all.push_back({runner, cassette});
  }
  return all;
}

std::string contents(const std::filesystem::path& file) {
  std::ifstream input(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

/// Each cassette's conversation is compared with the text beside it, which is written instead where
/// RAVANT_UPDATE_GOLDEN is set.
class GoldenTest : public testing::TestWithParam<Golden> {
 protected:
  static std::string play(CassetteFault fault) {
    const auto& [runner, cassette] = GetParam();
    RunnerBench bench(runner.type, runner.makeRunner);
    FakeAgent agent(cassette);
    const auto program = agent.program(0, fault);
    std::vector<std::string> outcomes;
    for (const CassetteTurn& turn : readCassette(cassette)) outcomes.push_back(bench.send(program, turn.prompt));

    std::string text;
    const auto invocations = agent.invocations();
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      text += fmt::format("turn {}: {}\n{}\n", i + 1, fmt::join(invocations.at(i), " "), outcomes[i]);
    }
    return text + "\n" + bench.transcript();
  }
};

TEST_P(GoldenTest, conversation) {
  const auto golden = std::filesystem::path(GetParam().cassette).replace_extension(".txt");
  const std::string text = play({});
  if (std::getenv("RAVANT_UPDATE_GOLDEN") != nullptr) std::ofstream(golden, std::ios::binary) << text;
  EXPECT_EQ(text, contents(golden));
}

TEST_P(GoldenTest, linesThatMeanNothingChangeNothing) {
  const auto golden = std::filesystem::path(GetParam().cassette).replace_extension(".txt");
  EXPECT_EQ(play({.kind = CassetteFault::Kind::noise}), contents(golden));
}

INSTANTIATE_TEST_SUITE_P(Runners, GoldenTest, testing::ValuesIn(goldens()), [](const auto& info) {
  return fmt::format("{}_{}", rawValue(info.param.runner.type), info.param.cassette.stem().string());
});

}  // namespace
}  // namespace ravant::test
