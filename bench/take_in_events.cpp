// take_in_events FOLDER CONVERSATION AGENT PROMPT: the seconds in which a runner stores everything that the agent
// prints, from the prompt to the end of the run, the start of its shell included.

#include <fmt/format.h>

#include "bench/open_store.hpp"
#include "bench/timing.hpp"
#include "platform/process/login_shell.hpp"
#include "runners/claude/claude_code_shell_runner.hpp"

int main(int, char** arguments) {
  using namespace ravant;
  bench::OpenStore store(arguments[1]);
  const auto runner = std::make_shared<ClaudeCodeShellRunner>(
      store.container, ShellRunnerOptions{.io = store.executors.io(),
                                          .shell = {.shellPath = loginShell().path, .ledger = store.processes}});
  const auto start = std::chrono::steady_clock::now();
  test::run(runner->send({.prompt = arguments[4],
                          .model = "sonnet",
                          .conversationId = ConversationId(Uuid::parse(arguments[2]).value()),
                          .workingDirectory = "/tmp",
                          .binaryPath = arguments[3]}));
  fmt::print("{}\n", bench::secondsSince(start));
  test::run(runner->shutdown());
}
