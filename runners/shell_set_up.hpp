#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace ravant {

/// A line that a shell is told to print. It is typed in two parts, so that a shell that shows what it reads does not
/// seem to have printed it.
class ShellMarker {
 public:
  explicit ShellMarker(std::string_view name);

  std::string printed() const;
  /// The command that prints it, as shell text that any shell takes.
  std::string echoed() const;

 private:
  std::string rest_;
};

/// The lines that a login shell is given before it gets an agent's. Each ends in a marker and may be given twice.
struct ShellSetUp {
  ShellMarker ready{"READY"};
  ShellMarker quiet{"SETUP"};
  ShellMarker inFolder{"FOLDER"};

  /// Asks whether the start-up files are done.
  std::string askWhetherReady() const;
  /// Takes away what prints between an agent's lines, ends the shell or keeps a history: options, prompts, hooks,
  /// traps.
  std::string silence() const;
  /// Goes to the folder, which start-up files can have left. The shell ends where that cannot be.
  std::string enter(const std::filesystem::path& folder) const;
};

/// The environment of the shell, with what keeps these lines out of the user's history until it is turned off.
std::map<std::string, std::string> withoutHistory(std::map<std::string, std::string> environment);

}  // namespace ravant
