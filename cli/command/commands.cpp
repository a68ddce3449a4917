#include "agent/ravant_provider.hpp"
#include "app/known_settings.hpp"
#include "cli/command/command.hpp"
#include "core/agent_type.hpp"

namespace ravant::cli {

const std::vector<CommandGroup>& commandGroups() {
  static const std::vector<CommandGroup> groups = {
      {.name = {}, .summary = {}, .commands = {runCommand(), doctorCommand()}},
      projectCommands(),
      agentCommands(),
      modelCommands(),
      conversationCommands(),
      gitCommands(),
      keyCommands(),
      processCommands(),
      settingsCommands()};
  return groups;
}

const std::vector<OptionDescription>& commonOptions() {
  static const std::vector<OptionDescription> options = {
      {.name = "--data-dir", .value = "DIR", .description = "Keep the store in this folder", .kind = ValueKind::folder},
      {.name = "--json", .description = "Write JSON for programs instead of text for people"},
      {.name = "--verbose", .description = "Write the log to standard error too"},
      {.name = "--help", .description = "Show help", .shortName = "-h"},
      {.name = "--version", .description = "Show the version"}};
  return options;
}

std::string fullName(const CommandGroup* group, const Command* command) {
  std::string name = "ravant";
  if (group && !group->name.empty()) name.append(" ").append(group->name);
  if (command) name.append(" ").append(command->name);
  return name;
}

std::vector<std::string> knownWords(ValueKind kind) {
  std::vector<std::string> words;
  switch (kind) {
    case ValueKind::agent:
    case ValueKind::agentType:
      for (const AgentType type : kAgentTypes) words.emplace_back(rawValue(type));
      break;
    case ValueKind::provider:
      for (const RavantProvider provider : kRavantProviders) words.emplace_back(rawValue(provider));
      break;
    case ValueKind::settingKey:
      for (const SettingDescription& setting : knownSettings()) words.push_back(setting.key);
      break;
    case ValueKind::text:
    case ValueKind::count:
    case ValueKind::file:
    case ValueKind::folder:
      break;
  }
  return words;
}

}  // namespace ravant::cli
