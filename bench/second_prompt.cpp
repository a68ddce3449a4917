// second_prompt FOLDER CONVERSATION AGENT ROUNDS: the seconds that a prompt takes on a runner whose shell is running,
// and those of the same command line written into a shell by hand.

#include <fmt/format.h>

#include <boost/asio/strand.hpp>

#include "bench/open_store.hpp"
#include "bench/timing.hpp"
#include "core/agent_command.hpp"
#include "platform/process/login_shell.hpp"
#include "runners/claude/claude_code_shell_runner.hpp"
#include "runners/shell_session.hpp"

namespace ravant::bench {
namespace {

constexpr std::string_view kEnd = "__END_OF_COMMAND__";

awaitable<double> runByHand(std::shared_ptr<ShellSession> shell, std::string commandLine) {
  co_await shell->ensureShell("/tmp");
  const auto start = std::chrono::steady_clock::now();
  co_await shell->writeStdin(std::move(commandLine));
  while (const auto line = co_await shell->readLine()) {
    if (line->ends_with(kEnd)) break;
  }
  co_return secondsSince(start);
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant;
  bench::OpenStore store(arguments[1]);
  const ShellOptions options{.shellPath = loginShell().path, .ledger = store.processes};
  const AgentRunRequest request{.prompt = "Say what a pipe holds.",
                                .model = "sonnet",
                                .conversationId = ConversationId(Uuid::parse(arguments[2]).value()),
                                .workingDirectory = "/tmp",
                                .resumedSessionId = "0a1b2c3d",
                                .binaryPath = arguments[3]};
  const std::string commandLine = AgentCommand{.agent = AgentType::claude,
                                               .binaryPath = request.binaryPath,
                                               .model = request.model,
                                               .prompt = request.prompt,
                                               .sentinel = std::string(bench::kEnd),
                                               .resumeSessionId = request.resumedSessionId}
                                      .commandLine();

  const auto runner = std::make_shared<ClaudeCodeShellRunner>(
      store.container, ShellRunnerOptions{.io = store.executors.io(), .shell = options});
  const any_io_executor strand = asio::make_strand(store.executors.io());
  const auto shell = std::make_shared<ShellSession>(strand, options);
  const auto onStrand = [&](auto operation) {
    return test::run(asio::co_spawn(strand, std::move(operation), use_awaitable));
  };
  const auto writeLine = [&] { return onStrand(bench::runByHand(shell, commandLine)); };
  const auto sendPrompt = [&] {
    const auto start = std::chrono::steady_clock::now();
    test::run(runner->send(request));
    return bench::secondsSince(start);
  };

  sendPrompt();
  const auto seconds = bench::shortestOf(std::stoi(arguments[4]), {writeLine, sendPrompt});
  fmt::print("byHand\t{}\nrunner\t{}\n", seconds[0], seconds[1]);
  onStrand(shell->shutdown());
  test::run(runner->shutdown());
}
