#pragma once

#include <string>

#include "cli/command/command_line.hpp"

namespace ravant::cli {

/// The help for what the command line names: the program, a group or a command.
std::string helpText(const CommandLine& line);

/// How a command is called, without the common options: `ravant run [--project PROJECT] … [PROMPT]`.
std::string usageLine(const CommandGroup& group, const Command& command);

/// A positional as it stands in a usage line: `[PROMPT]`, `PROJECT...`.
std::string positionalWord(const PositionalDescription& positional);
/// An option as it is typed: `--project PROJECT`.
std::string optionWord(const OptionDescription& option);

}  // namespace ravant::cli
