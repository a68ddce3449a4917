#include "tests/contracts/runner_under_test.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "core/agent_command.hpp"
#include "runners/claude/claude_code_shell_runner.hpp"
#include "runners/pi/pi_shell_runner.hpp"

namespace ravant::test {
namespace {

constexpr std::string_view kTests = RAVANT_TESTS_DIR;

template <class Runner>
std::shared_ptr<AgentRunner> makeShellRunner(std::shared_ptr<ModelContainer> container, any_io_executor io,
                                             ShellOptions shell) {
  return std::make_shared<Runner>(std::move(container), ShellRunnerOptions{.io = io, .shell = std::move(shell)});
}

}  // namespace

std::filesystem::path RunnerUnderTest::cassette(std::string_view name) const {
  return fmt::format("{}/agents/{}/{}.cassette", kTests, rawValue(type), name);
}

std::vector<std::filesystem::path> RunnerUnderTest::goldenCassettes() const {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(fmt::format("{}/golden/{}", kTests, rawValue(type)))) {
    if (entry.path().extension() == ".cassette") files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

std::ostream& operator<<(std::ostream& stream, const RunnerUnderTest& runner) {
  return stream << rawValue(runner.type);
}

std::vector<RunnerUnderTest> runnersUnderTest() {
  return {{.type = AgentType::claude,
           .makeRunner = makeShellRunner<ClaudeCodeShellRunner>,
           .endsTurn = [](const std::string& line) { return line.contains(R"("type":"result")"); },
           .promptOf = [](const FakeAgent::Arguments& arguments) { return arguments.back(); },
           .largestPrompt = AgentCommand::largestPromptBytes()},
          {.type = AgentType::pi,
           .makeRunner = makeShellRunner<PiShellRunner>,
           .endsTurn =
               [](const std::string& line) {
                 return line.contains(R"("type":"agent_settled")") ||
                        (line.contains(R"("type":"agent_end")") && !line.contains(R"("willRetry":true)"));
               },
           .promptOf =
               [](const FakeAgent::Arguments& arguments) {
                 // A space keeps such a prompt from being an option or a file.
                 const std::string& prompt = arguments.back();
                 return prompt.starts_with(" -") || prompt.starts_with(" @") ? prompt.substr(1) : prompt;
               },
           .largestPrompt = AgentCommand::largestPromptBytes()}};
}

}  // namespace ravant::test
