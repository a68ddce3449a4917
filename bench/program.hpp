#pragma once

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "bench/timing.hpp"

namespace ravant::bench {

struct ProgramRun {
  double seconds;
  long memory;  ///< KiB at most
};

/// Runs a program to its end, its output discarded. Throws where it cannot be run or fails.
inline ProgramRun runProgram(std::vector<std::string> words) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  const int error = ::posix_spawnp(&pid, arguments.front(), &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::system_error(error, std::generic_category(), words.front());
  int status = 0;
  rusage usage{};
  ::wait4(pid, &status, 0, &usage);
  const double seconds = secondsSince(start);
  if (status != 0) throw std::runtime_error(fmt::format("{} failed", words.front()));
  return {.seconds = seconds, .memory = usage.ru_maxrss};
}

}  // namespace ravant::bench
