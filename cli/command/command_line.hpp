#pragma once

#include <string>
#include <vector>

#include "cli/command/command.hpp"

namespace ravant::cli {

/// What the words behind the program's name ask for.
struct CommandLine {
  enum class Request { run, help, version };

  Request request = Request::run;
  const CommandGroup* group = nullptr;  ///< null when only the program is named
  const Command* command = nullptr;     ///< null when only the program or a group is named
  Arguments arguments = {};             ///< the common options among them
};

/// Throws `UsageError`.
CommandLine parseCommandLine(const std::vector<std::string>& words);

}  // namespace ravant::cli
