#include "platform/process/login_shell.hpp"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace ravant {
namespace {

constexpr std::array<std::string_view, 9> kShellNames = {"bash", "zsh",   "dash", "sh",  "ksh",
                                                         "mksh", "ksh93", "ash",  "yash"};

/// Why a path is not taken; empty when it is.
std::string objectionTo(const std::string& path, ShellUse use) {
  const std::filesystem::path file(path);
  std::error_code error;
  if (!file.is_absolute()) return "is not an absolute path";
  if (!std::filesystem::exists(file, error)) return "does not exist";
  if (!std::filesystem::is_regular_file(file, error) || ::access(path.c_str(), X_OK) != 0) return "is not a program";
  const std::string name = file.filename().string();
  const bool canRunCommand = use == ShellUse::command && name == "fish";
  if (!canRunCommand && std::ranges::find(kShellNames, name) == kShellNames.end()) {
    return "is not a shell in which agents can be started";
  }
  return {};
}

}  // namespace

LoginShell chooseLoginShell(const ShellSources& sources, ShellUse use) {
  std::string reason = "SHELL is not set";
  if (sources.variable) {
    const std::string objection = objectionTo(*sources.variable, use);
    if (objection.empty()) return {*sources.variable, {}};
    reason = fmt::format("SHELL is \"{}\", which {}", *sources.variable, objection);
  }
  std::vector<std::string> paths = {sources.passwordDatabase};
  if (!sources.variable) paths.insert(paths.begin(), sources.whenUnset);
  paths.insert(paths.end(), sources.fallbacks.begin(), sources.fallbacks.end());
  const auto found =
      std::ranges::find_if(paths, [&](const std::string& path) { return objectionTo(path, use).empty(); });
  return {found == paths.end() ? paths.back() : *found, reason};
}

LoginShell loginShell(ShellUse use) {
  ShellSources sources;
  if (const char* variable = std::getenv("SHELL")) sources.variable = variable;
  passwd entry{};
  passwd* found = nullptr;
  std::array<char, 16 * 1024> text;
  if (::getpwuid_r(::getuid(), &entry, text.data(), text.size(), &found) == 0 && found != nullptr) {
    sources.passwordDatabase = found->pw_shell;
  }
  return chooseLoginShell(sources, use);
}

}  // namespace ravant
