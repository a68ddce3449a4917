#pragma once

#include "cli/command/command.hpp"

namespace ravant::cli {

/// `ravant conversation search` and `ravant conversation find`.
Command searchCommand();
Command findCommand();

}  // namespace ravant::cli
