#pragma once

#include <string>
#include <string_view>

#include "cli/command/arguments.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant::cli {

/// Returns when the user agreed: by `--yes`, or on the terminal. Blocks. Throws `UsageError` where nobody can be asked,
/// `CommandError` for a no, `Interrupted`.
void confirm(const Arguments& arguments, std::string_view question);

/// All of standard input. Blocks. Throws `Interrupted` and `std::system_error`.
std::string readStandardInput();

/// All that a pipe or a terminal gives, in a file of its own, which goes with its descriptor. Blocks. Throws
/// `Interrupted` and `std::system_error`.
UniqueFd copyOfInput(int descriptor);

/// A line from the terminal, asked for and not shown while it is typed; all of standard input where it is no terminal.
/// Blocks. Throws `Interrupted` and `std::system_error`.
std::string readSecret(std::string_view question);

}  // namespace ravant::cli
