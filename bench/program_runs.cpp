// program_runs ROUNDS COMMAND... -- COMMAND...: the shortest run of each command in seconds and its largest memory in
// KiB. Output is discarded; a command that fails ends the measurement.

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "bench/timing.hpp"

namespace ravant::bench {
namespace {

struct Command {
  std::vector<char*> words;
  double shortest = std::numeric_limits<double>::max();
  long largestMemory = 0;
};

void runOnce(Command& command, posix_spawn_file_actions_t& actions) {
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  const int error = ::posix_spawnp(&pid, command.words.front(), &actions, nullptr, command.words.data(), environ);
  if (error != 0) throw std::system_error(error, std::generic_category(), command.words.front());
  int status = 0;
  rusage usage{};
  ::wait4(pid, &status, 0, &usage);
  command.shortest = std::min(command.shortest, secondsSince(start));
  command.largestMemory = std::max(command.largestMemory, usage.ru_maxrss);
  if (status != 0) throw std::runtime_error(fmt::format("{} failed", command.words.front()));
}

}  // namespace
}  // namespace ravant::bench

int main(int count, char** arguments) {
  using namespace ravant::bench;
  std::vector<Command> commands(1);
  for (int i = 2; i < count; ++i) {
    if (std::string_view(arguments[i]) == "--") {
      commands.emplace_back();
    } else {
      commands.back().words.push_back(arguments[i]);
    }
  }
  for (Command& command : commands) command.words.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  for (int round = std::stoi(arguments[1]); round > 0; --round) {
    for (Command& command : commands) runOnce(command, actions);
  }
  for (const Command& command : commands) fmt::print("{}\t{}\n", command.shortest, command.largestMemory);
}
