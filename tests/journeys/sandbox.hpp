#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/json/json.hpp"
#include "tests/support/program.hpp"

namespace ravant::test {

/// Runs the real program with a home folder, a store and settings of its own, and with agents that are small scripts.
class Sandbox {
 public:
  Sandbox();

  /// For what is started from now on.
  void setVariable(const std::string& name, const std::string& value) { variables_[name] = value; }

  /// Has keys kept in a file, with no key store of a desktop in reach.
  void keepKeysInFile();

  /// Where programs are started from now on, in place of the project folder.
  void enter(const std::filesystem::path& folder) { present_ = folder; }

  /// What is started from now on has no privileges, as a user has none, also where the tests run as the superuser.
  void dropPrivileges() { hasPrivileges_ = false; }

  /// Starts `ravant` in the present folder.
  Program start(std::vector<std::string> arguments, std::string input = {},
                ProgramOutput output = ProgramOutput::read) const;
  ProgramResult run(std::vector<std::string> arguments, std::string input = {}) const;
  /// Runs a shell script with mounts of its own; `ravant` in it is the program. Nothing where tests may not mount here.
  std::optional<ProgramResult> runWithMounts(const std::string& script) const;
  /// The JSON value that the command prints with `--json`; a test failure when it does not succeed.
  json::value json(std::vector<std::string> arguments) const;

  /// Writes a script that stands for Claude Code: it notes its arguments in the file `arguments` of the home folder,
  /// then does what `body` says, and answers `--version`. Returns its path.
  std::string writeAgent(std::string_view body) const;
  /// Registers such a script.
  void addAgent(std::string_view body) const;
  /// The arguments the script had when it was started last, a line each.
  std::string agentArguments() const;

  std::filesystem::path home() const { return folder_ / "home"; }
  std::filesystem::path project() const { return folder_ / "project"; }
  std::filesystem::path data() const { return folder_ / "data"; }
  std::filesystem::path settings() const { return folder_ / "config/ravant/settings.json"; }

 private:
  std::map<std::string, std::string> environment() const;

  TemporaryFolder folder_;
  std::map<std::string, std::string> variables_;
  bool hasPrivileges_ = true;
  std::filesystem::path present_ = project();
};

/// The JSON objects of an output, one a line.
std::vector<json::object> events(std::string_view output);

/// The lines of Claude Code's output, each as a command of a script.
namespace claude_says {
std::string begin(std::string_view session = "session-1");
std::string text(std::string_view words);
std::string toolUse(std::string_view id, std::string_view command);
std::string toolResult(std::string_view id, std::string_view output);
std::string end(std::string_view session = "session-1");
std::string failure(std::string_view words);
}  // namespace claude_says

}  // namespace ravant::test
