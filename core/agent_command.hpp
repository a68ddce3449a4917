#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/agent_type.hpp"

namespace ravant {

/// One shell command line that runs an agent for one prompt.
///
/// The prompt is never shell text: it travels as Base64 that the shell decodes when it runs the
/// line. The agent reads nothing from standard input, and the shell echoes the sentinel when the
/// agent has ended.
struct AgentCommand {
  AgentType agent;
  std::string binaryPath;
  std::string model;
  std::optional<std::string> effort;
  std::string prompt;
  std::string sentinel;  ///< must need no quoting
  std::optional<std::string> resumeSessionId;

  /// The line, its line break included. Throws `std::logic_error` for a type that is not run by a
  /// command line (`ravant`, `cursor`), and `PromptRefusedError` for a session id that cannot be one.
  std::string commandLine() const;

  /// The executable word: the configured path, quoted, or the type's command name where it is blank.
  static std::string executable(std::string_view path, AgentType agent);

  /// The efforts that are applied by their words in the prompt, whatever the model.
  static std::vector<std::string> promptKeywords();

  /// The prompt with the keyword of an effort that is applied by its words; other efforts change nothing.
  std::string injectEffortIfNeeded(std::string prompt) const;

  /// The prompt as the agent is given it: with its effort, and in words that are no option to it.
  std::string sentPrompt() const;

  /// The longest prompt in bytes that this system passes as one argument.
  static std::size_t largestPromptBytes();
};

}  // namespace ravant
