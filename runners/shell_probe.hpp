#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "runners/shell_session.hpp"

namespace ravant {

struct ShellProbeOptions {
  any_io_executor io;
  ShellOptions shell;
  std::chrono::milliseconds limit{30'000};    ///< for the command, once the shell is ready
  std::size_t outputLimit = 8 * 1024 * 1024;  ///< bytes of standard output
};

/// Runs a command line without input in a login shell of its own, as agents are run, ends the shell and returns what
/// the command wrote to standard output. Callable from any executor. Throws what `ShellSession::startShell` throws, and
/// `ProbeError` where a limit was reached.
awaitable<std::string> probeInShell(ShellProbeOptions options, std::string command);

}  // namespace ravant
