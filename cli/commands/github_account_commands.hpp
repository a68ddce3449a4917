#pragma once

#include "cli/command/command.hpp"

namespace ravant::cli {

/// The part of `githubCommands` that is about accounts.
CommandGroup githubAccountCommands();

}  // namespace ravant::cli
