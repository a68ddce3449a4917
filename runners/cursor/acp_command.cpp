#include "runners/cursor/acp_command.hpp"

#include "core/agent_command.hpp"
#include "platform/process/shell_quoted.hpp"

namespace ravant {

std::string acpCommandLine(std::string_view binaryPath, const std::optional<std::vector<std::string>>& arguments) {
  std::string line = AgentCommand::executable(binaryPath, AgentType::cursor);
  for (const std::string& argument : arguments.value_or(std::vector<std::string>{"acp"})) {
    line += ' ' + shellQuoted(argument);
  }
  return line;
}

}  // namespace ravant
