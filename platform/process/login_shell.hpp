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

/// What a shell is started for: to run what is written into it, as agents are, or one command that it is given. fish
/// can do the second only: it runs nothing that it reads from a pipe before the pipe is closed.
enum class ShellUse { session, command };

/// The first of the sources that is a program and a shell of the Bourne family, or one that can do what it is for.
/// `whenUnset` counts only without the variable. The last fallback is taken as it is.
LoginShell chooseLoginShell(const ShellSources& sources, ShellUse use = ShellUse::session);

/// The user's login shell, from this program's environment.
LoginShell loginShell(ShellUse use = ShellUse::session);

}  // namespace ravant
