#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/command/command.hpp"

namespace ravant::cli {

/// The program's manual page (`man`) or its completions for a shell (`bash`, `zsh`, `fish`), as they are installed.
/// Throws `UsageError` for another kind.
std::string manual(std::string_view kind);

/// Every option of any command that takes a value, each name once.
std::vector<OptionDescription> optionsWithValues();

std::string manPage();
std::string bashCompletions();
std::string zshCompletions();
std::string fishCompletions();

}  // namespace ravant::cli
