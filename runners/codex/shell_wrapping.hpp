#pragma once

#include <string>
#include <string_view>

namespace ravant::codex {

/// The script of a command line that only hands it to a shell, as in `/bin/bash -lc 'make all'`; any other command line
/// as it stands.
std::string withoutShell(std::string_view commandLine);

}  // namespace ravant::codex
