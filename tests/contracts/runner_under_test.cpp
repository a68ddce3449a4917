#include "tests/contracts/runner_under_test.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "platform/json/json.hpp"
#include "runners/claude/claude_code_shell_runner.hpp"
#include "runners/codex/codex_app_server_runner.hpp"
#include "runners/cursor/cursor_acp_runner.hpp"
#include "runners/pi/pi_shell_runner.hpp"

namespace ravant::test {
namespace {

constexpr std::string_view kTests = RAVANT_TESTS_DIR;

template <class Runner>
std::shared_ptr<AgentRunner> makeShellRunner(std::shared_ptr<ModelContainer> container, any_io_executor io,
                                             ShellOptions shell) {
  return std::make_shared<Runner>(std::move(container), ShellRunnerOptions{.io = io, .shell = std::move(shell)});
}

std::shared_ptr<AgentRunner> makeCodexRunner(std::shared_ptr<ModelContainer> container, any_io_executor io,
                                             ShellOptions shell) {
  return std::make_shared<CodexAppServerRunner>(std::move(container),
                                                RpcRunnerOptions{.io = io, .shell = std::move(shell)});
}

std::shared_ptr<AgentRunner> makeCursorRunner(std::shared_ptr<ModelContainer> container, any_io_executor io,
                                              ShellOptions shell) {
  return std::make_shared<CursorAcpRunner>(std::move(container), RpcRunnerOptions{.io = io, .shell = std::move(shell)});
}

/// The text of the first block of a request's parameter.
std::string textOfFirst(std::string_view parameter, const std::string& request) {
  const auto message = parseJson(request);
  return std::string(message->at("params").at(parameter).at(0).at("text").as_string());
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
  using Hosting = RunnerUnderTest::Hosting;
  return {{.type = AgentType::claude,
           .hosting = Hosting::shell,
           .makeRunner = makeShellRunner<ClaudeCodeShellRunner>,
           .endsTurn = [](const std::string& line) { return line.contains(R"("type":"result")"); },
           .promptOf = [](const FakeAgent::Arguments& arguments) { return arguments.back(); }},
          {.type = AgentType::codex,
           .hosting = Hosting::server,
           .makeRunner = makeCodexRunner,
           .endsTurn =
               [](const std::string& line) {
                 const bool isEnd =
                     line.contains("turn/completed") || line.contains("turn/failed") || line.contains("turn/aborted");
                 return isEnd && line.contains(R"("threadId":"thread-1")");
               },
           .promptOf = [](const FakeAgent::Arguments& arguments) { return textOfFirst("input", arguments.front()); }},
          {.type = AgentType::cursor,
           .hosting = Hosting::server,
           .makeRunner = makeCursorRunner,
           // The verb that answers the prompt.
           .endsTurn =
               [](const std::string& line) {
                 return line.starts_with("reply") && (line.contains("stopReason") || line.contains("Internal error"));
               },
           .promptOf = [](const FakeAgent::Arguments& arguments) { return textOfFirst("prompt", arguments.front()); }},
          {.type = AgentType::pi,
           .hosting = Hosting::shell,
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
               }}};
}

std::vector<RunnerUnderTest> runnersUnderTest(RunnerUnderTest::Hosting hosting) {
  auto runners = runnersUnderTest();
  std::erase_if(runners, [hosting](const RunnerUnderTest& runner) { return runner.hosting != hosting; });
  return runners;
}

}  // namespace ravant::test
