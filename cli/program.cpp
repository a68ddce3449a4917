#include "cli/program.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "cli/command/command_line.hpp"
#include "cli/command/key_words.hpp"
#include "cli/manual/help.hpp"
#include "cli/manual/manual.hpp"
#include "cli/output/command_error.hpp"
#include "cli/output/terminal_text.hpp"
#include "platform/keystore/private_memory.hpp"
#include "platform/log/log.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/descriptors.hpp"

namespace ravant::cli {
namespace {

constexpr Log kLog("com.ravant.cli", "Program");

/// A standard stream that is closed would become the first file that is opened. Writing to a standard output that was
/// closed stays an error.
void occupyStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) >= 0) continue;
    [[maybe_unused]] const int descriptor = ::open("/dev/null", stream == STDOUT_FILENO ? O_RDONLY : O_RDWR);
  }
}

awaitable<ExitStatus> runCommand(CommandContext& context, const Command& command, Arguments arguments) {
  std::exception_ptr error;
  ExitStatus status = ExitStatus::failed;
  try {
    if (context.openApplication) co_await context.application().prepare();
    status = co_await command.run(context, std::move(arguments));
  } catch (...) {
    error = std::current_exception();
  }
  try {
    if (context.openApplication) co_await context.application().shutdown();
  } catch (const std::exception& failure) {
    kLog.error("the end was not orderly: {}", failure.what());
    if (!error) error = std::current_exception();
  }
  context.interruption.stop();
  if (context.openApplication && context.application().processes()->running() > 0) {
    std::fputs(
        "ravant: processes of agents could not be ended; the next start tries again (see \"ravant process list\")\n",
        stderr);
  }
  if (error) std::rethrow_exception(error);
  co_return status;
}

/// Runs the loop on a thread of its own for as long as the interface thread blocks.
class LoopMeanwhile {
 public:
  explicit LoopMeanwhile(asio::io_context& loop) : loop_(loop), thread_([&loop] { loop.run(); }) {}
  ~LoopMeanwhile() {
    loop_.stop();
    thread_.join();
    loop_.restart();
  }
  LoopMeanwhile(const LoopMeanwhile&) = delete;
  LoopMeanwhile& operator=(const LoopMeanwhile&) = delete;

 private:
  asio::io_context& loop_;
  std::thread thread_;
};

ExitStatus execute(const Command& command, Arguments arguments, Output& output) {
  if (arguments.has("--verbose")) logToStandardError();
  asio::io_context interfaceLoop;
  Interruption interruption(interfaceLoop);
  CommandContext context{.locations = Locations::find(arguments.optional("--data-dir")),
                         .format = arguments.has("--json") ? OutputFormat::json : OutputFormat::text,
                         .output = output,
                         .interruption = interruption};
  asio::co_spawn(interfaceLoop, interruption.watch(), [](std::exception_ptr) {});
  if (command.needs == Needs::application) {
    const LoopMeanwhile signals(interfaceLoop);
    context.openApplication = Application::open(context.locations);
  }

  std::exception_ptr error;
  ExitStatus status = ExitStatus::failed;
  asio::co_spawn(interfaceLoop, runCommand(context, command, std::move(arguments)),
                 [&](std::exception_ptr thrown, ExitStatus reached) {
                   error = thrown;
                   status = reached;
                 });
  interfaceLoop.run();
  if (error) std::rethrow_exception(error);
  return status;
}

ExitStatus answer(const std::vector<std::string>& words, Output& output) {
  if (words.size() == 2 && words.front() == "__manual") {
    output.write(manual(words.back()));
    return ExitStatus::done;
  }
  const CommandLine line = parseCommandLine(words);
  switch (line.request) {
    case CommandLine::Request::help:
      output.write(helpText(line));
      return ExitStatus::done;
    case CommandLine::Request::version:
      output.line("ravant " RAVANT_VERSION);
      return ExitStatus::done;
    case CommandLine::Request::run:
      return execute(*line.command, line.arguments, output);
  }
  __builtin_unreachable();
}

ExitStatus report(const std::exception& error, ExitStatus status) {
  std::fputs(fmt::format("ravant: {}\n", oneLine(wordsWithWayOut(error))).c_str(), stderr);
  return status;
}

ExitStatus run(const std::vector<std::string>& words) {
  try {
    Output output(STDOUT_FILENO, Style::of(STDOUT_FILENO));
    const ExitStatus status = answer(words, output);
    output.flush();
    return status;
  } catch (const OutputClosed&) {
    return ExitStatus::done;
  } catch (const Interrupted&) {
    return ExitStatus::interrupted;
  } catch (const UsageError& error) {
    return report(error, ExitStatus::wrongCommandLine);
  } catch (const std::filesystem::filesystem_error& error) {
    const std::string place = error.path1().empty() ? "the current folder" : error.path1().string();
    return report(std::runtime_error(fmt::format("{}: {}", place, error.code().message())), ExitStatus::failed);
  } catch (const std::exception& error) {
    return report(error, ExitStatus::failed);
  }
}

}  // namespace

int runProgram(const std::vector<std::string>& words) {
  keepMemoryPrivate();
  useAllDescriptors();
  occupyStandardStreams();
  ignoreBrokenPipes();
  return static_cast<int>(run(words));
}

}  // namespace ravant::cli
