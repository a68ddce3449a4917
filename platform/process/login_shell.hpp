#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ravant {

struct LoginShell {
  std::string path;
  std::string reason;  ///< why the variable SHELL was not followed; empty when it was
};

/// Where a login shell can be named.
struct ShellSources {
  std::optional<std::string> variable = {};  ///< SHELL
  std::string passwordDatabase = {};         ///< of the user; empty when there is no entry
  std::string whenUnset = "/bin/zsh";
  std::vector<std::string> fallbacks = {"/bin/bash", "/bin/sh"};
};

/// The first of the sources that is a program and a shell of the Bourne family, which is what agents can be started in:
/// fish, for one, runs nothing that it reads from a pipe before the pipe is closed. `whenUnset` counts only without the
/// variable. The last fallback is taken as it is.
LoginShell chooseLoginShell(const ShellSources& sources);

/// The user's login shell, from this program's environment.
LoginShell loginShell();

}  // namespace ravant
