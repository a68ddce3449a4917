#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/command/arguments.hpp"
#include "cli/command/command_context.hpp"
#include "cli/command/exit_status.hpp"
#include "platform/async/async.hpp"

namespace ravant::cli {

/// What an argument stands for: decides how it is checked and completed.
enum class ValueKind { text, count, file, folder, agent, agentType, provider, settingKey };

enum class Occurrence { once, atMostOnce, atLeastOnce, any };

struct PositionalDescription {
  std::string_view name;
  ValueKind kind = ValueKind::text;
  Occurrence occurrence = Occurrence::once;
};

struct OptionDescription {
  std::string_view name;   ///< with its hyphens
  std::string_view value;  ///< the value's name; empty for a flag
  std::string_view description;
  ValueKind kind = ValueKind::text;
  std::string_view shortName = {};
};

/// What is there before a command runs.
enum class Needs { nothing, application };

/// One command: what help, manual and completions say about it, and what it does.
struct Command {
  std::string_view name;
  std::string_view summary;
  std::string_view description = {};  ///< paragraphs parted by a blank line
  std::vector<PositionalDescription> positionals = {};
  std::vector<OptionDescription> options = {};
  Needs needs = Needs::application;
  awaitable<ExitStatus> (*run)(CommandContext&, Arguments);
};

/// Commands under one word, such as `project`; a group without a name holds those of the program itself.
struct CommandGroup {
  std::string_view name;
  std::string_view summary;
  std::vector<Command> commands;
};

/// Every command, in the order of the help.
const std::vector<CommandGroup>& commandGroups();

/// The options that every command and the program itself take.
const std::vector<OptionDescription>& commonOptions();

/// As it is typed: `ravant project add`; less where the command or the group is null.
std::string fullName(const CommandGroup* group, const Command* command);

/// The words that a kind allows (an agent type) or suggests; empty where there are none.
std::vector<std::string> knownWords(ValueKind kind);

CommandGroup projectCommands();
CommandGroup agentCommands();
CommandGroup modelCommands();
CommandGroup conversationCommands();
CommandGroup gitCommands();
CommandGroup keyCommands();
CommandGroup processCommands();
CommandGroup settingsCommands();
Command runCommand();
Command doctorCommand();

}  // namespace ravant::cli
