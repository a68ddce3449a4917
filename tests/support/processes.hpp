#pragma once

#include <sys/wait.h>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/process/child_process.hpp"

namespace ravant::test {

/// Neither gone nor a zombie; one whose first thread alone has ended is alive.
inline bool isAlive(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/status");
  bool isZombie = true;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("State:")) isZombie = line.contains('Z') || line.contains('X');
    if (line.starts_with("Threads:")) return !isZombie || line != "Threads:\t1";
  }
  return false;
}

/// Of the test's own process.
inline std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

/// Whether the test's own process has this child, running or as a zombie.
inline bool isChild(pid_t pid) { return ::waitpid(pid, nullptr, WNOHANG) != -1 || errno != ECHILD; }

/// What a child prints until nobody holds its output any more.
inline awaitable<std::string> outputOf(ChildProcess& child) {
  std::string output;
  std::string piece(4096, '\0');
  for (;;) {
    const auto [error, count] =
        co_await child.standardOutput().async_read_some(asio::buffer(piece), asio::as_tuple(use_awaitable));
    if (error) co_return output;
    output.append(piece, 0, count);
  }
}

}  // namespace ravant::test
