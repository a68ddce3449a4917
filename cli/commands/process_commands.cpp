#include <fmt/format.h>

#include <limits>

#include "cli/command/command.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/process_form.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/process/left_processes.hpp"

namespace ravant::cli {
namespace {

awaitable<ExitStatus> list(CommandContext& context, Arguments) {
  const std::vector<LeftProcess> processes = leftProcesses();
  if (context.wantsJson()) {
    json::array forms;
    for (const LeftProcess& process : processes) forms.push_back(jsonForm(process));
    context.output.json(forms);
  } else {
    context.output.write(textForm(processes, context.output.style()));
  }
  co_return ExitStatus::done;
}

awaitable<ExitStatus> end(CommandContext& context, Arguments arguments) {
  const std::int64_t number = arguments.count("PID").value();
  if (number > std::numeric_limits<pid_t>::max()) throw CommandError(fmt::format("there is no process {}", number));
  const auto pid = static_cast<pid_t>(number);
  if (co_await endLeftProcess(pid) == TreeEnd::survivorsLeft) {
    throw CommandError(fmt::format("the process {} or some that hang on it could not be ended", pid));
  }
  if (context.wantsJson()) {
    context.output.json(json::object{{"pid", pid}});
  } else {
    context.output.line(fmt::format("Ended the process {}.", pid));
  }
  co_return ExitStatus::done;
}

}  // namespace

CommandGroup processCommands() {
  return {
      .name = "process",
      .summary = "What agents started and still runs",
      .commands = {
          {.name = "list",
           .summary = "List what still runs from earlier prompts",
           .description = "A server, a terminal multiplexer, an editor or a browser that an agent started in a session "
                          "of its own goes on when the prompt has ended by itself, and when Ravant ends. It is "
                          "listed here until it ends, with the number of processes that hang on it. What a running "
                          "Ravant still holds is not.",
           .needs = Needs::nothing,
           .run = list},
          {.name = "end",
           .summary = "End such a process and what hangs on it",
           .description = "It is asked to end, and killed after a moment. Only what an agent of yours started is "
                          "ended, and nothing that a running Ravant holds.",
           .positionals = {{.name = "PID", .kind = ValueKind::count}},
           .needs = Needs::nothing,
           .run = end}}};
}

}  // namespace ravant::cli
