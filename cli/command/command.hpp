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
enum class ValueKind {
  text,
  count,
  file,
  folder,
  agent,
  agentType,
  sessionAgent,  ///< an agent type that keeps sessions which can be brought in
  searchKind,
  provider,
  settingKey,
  repository,  ///< `owner/name`
  filterInvolvement,
  filterState,
  filterReview,
  filterChecks,
  filterDraft,
  issuesOrder,
  pinService,
  exportFormat,
};

enum class Occurrence { once, atMostOnce, atLeastOnce, any };
constexpr bool isRepeated(Occurrence occurrence) {
  return occurrence == Occurrence::atLeastOnce || occurrence == Occurrence::any;
}

struct PositionalDescription {
  std::string_view name;
  ValueKind kind = ValueKind::text;
  Occurrence occurrence = Occurrence::once;
};

struct OptionDescription {
  std::string_view name;   ///< with its hyphens
  std::string_view value;  ///< the value's name, or those of several parted by blanks; empty for a flag
  std::string_view description;
  ValueKind kind = ValueKind::text;
  std::string_view shortName = {};
  Occurrence occurrence = Occurrence::atMostOnce;  ///< `any` where it may be given again, with another value each time
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
/// The names of an option's values; none for a flag.
std::vector<std::string_view> valueNames(const OptionDescription& option);
/// Whether a kind allows no other words than those.
bool allowsKnownWordsOnly(ValueKind kind);

CommandGroup projectCommands();
CommandGroup agentCommands();
CommandGroup modelCommands();
CommandGroup conversationCommands();
CommandGroup gitCommands();
CommandGroup keyCommands();
CommandGroup githubCommands();
CommandGroup linearCommands();
CommandGroup pinCommands();
CommandGroup processCommands();
CommandGroup settingsCommands();
Command runCommand();
Command paletteCommand();
Command doctorCommand();
Command importCommand();

}  // namespace ravant::cli
