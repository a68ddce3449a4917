#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "platform/json/json.hpp"
#include "runners/claude/claude_code_shell_runner.hpp"
#include "tests/agents/runner_bench.hpp"

namespace ravant::test {
namespace {

const std::filesystem::path kFolder = RAVANT_TESTS_DIR "/golden/claude";

std::vector<std::filesystem::path> cassettes() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    if (entry.path().extension() == ".cassette") files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

std::string contents(const std::filesystem::path& file) {
  std::ifstream input(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(input), {}};
}

/// Each cassette's conversation is compared with the text beside it, which is written instead where
/// RAVANT_UPDATE_GOLDEN is set.
class ClaudeGoldenTest : public testing::TestWithParam<std::filesystem::path> {
 protected:
  static std::string play(CassetteFault fault) {
    RunnerBench bench(AgentType::claude, [](auto container, auto io, auto shell) {
      return std::make_shared<ClaudeCodeShellRunner>(container, ShellRunnerOptions{.io = io, .shell = shell});
    });
    FakeAgent agent(GetParam());
    const auto program = agent.program(0, fault);
    std::vector<std::string> outcomes;
    for (const CassetteTurn& turn : readCassette(GetParam())) outcomes.push_back(bench.send(program, turn.prompt));

    std::string text;
    const auto invocations = agent.invocations();
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      text += fmt::format("turn {}: {}\n{}\n", i + 1, fmt::join(invocations.at(i), " "), outcomes[i]);
    }
    return text + "\n" + bench.transcript();
  }
};

TEST_P(ClaudeGoldenTest, conversation) {
  const auto golden = std::filesystem::path(GetParam()).replace_extension(".txt");
  const std::string text = play({});
  if (std::getenv("RAVANT_UPDATE_GOLDEN") != nullptr) std::ofstream(golden, std::ios::binary) << text;
  EXPECT_EQ(text, contents(golden));
}

TEST_P(ClaudeGoldenTest, linesThatMeanNothingChangeNothing) {
  const auto golden = std::filesystem::path(GetParam()).replace_extension(".txt");
  EXPECT_EQ(play({.kind = CassetteFault::Kind::noise}), contents(golden));
}

INSTANTIATE_TEST_SUITE_P(Claude, ClaudeGoldenTest, testing::ValuesIn(cassettes()),
                         [](const auto& info) { return info.param.stem().string(); });

}  // namespace
}  // namespace ravant::test
