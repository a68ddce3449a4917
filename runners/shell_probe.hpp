#pragma once

#include <chrono>
#include <string>

#include "runners/shell_session.hpp"

namespace ravant {

struct ShellProbeOptions {
  any_io_executor io;
  ShellOptions shell;
  std::chrono::milliseconds limit{30'000};  ///< for the command, once the shell is ready
};

/// What a command printed.
struct ShellProbeOutput {
  std::string output;
  std::string standardError;
};

/// Runs a command line without input in a login shell of its own, as agents are run, and ends the shell. Callable from
/// any executor. Throws what `ShellSession::startShell` throws, and `ProbeError` where the limit was reached.
awaitable<ShellProbeOutput> probeInShell(ShellProbeOptions options, std::string command);

}  // namespace ravant
