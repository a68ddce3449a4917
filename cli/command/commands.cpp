#include "agent/ravant_provider.hpp"
#include "app/known_settings.hpp"
#include "app/session_folders.hpp"
#include "app/transfer/conversation_export.hpp"
#include "cli/command/command.hpp"
#include "core/agent_type.hpp"
#include "core/integrations/github_content_filter.hpp"
#include "core/integrations/linear_integration.hpp"
#include "core/store/search/search_reader.hpp"

namespace ravant::cli {
namespace {

template <class Facet>
std::vector<std::string> rawValuesOf() {
  std::vector<std::string> words;
  for (const auto& known : GithubFilterOption<Facet>::kCases) words.emplace_back(known.rawValue);
  return words;
}

}  // namespace

const std::vector<CommandGroup>& commandGroups() {
  static const std::vector<CommandGroup> groups = {
      {.name = {}, .summary = {}, .commands = {runCommand(), paletteCommand(), doctorCommand(), importCommand()}},
      projectCommands(),
      agentCommands(),
      modelCommands(),
      conversationCommands(),
      gitCommands(),
      keyCommands(),
      githubCommands(),
      linearCommands(),
      pinCommands(),
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
    case ValueKind::sessionAgent:
      for (const AgentType type : kAgentTypes) {
        if (keepsSessions(type)) words.emplace_back(rawValue(type));
      }
      break;
    case ValueKind::searchKind:
      for (const SearchKind known : kSearchKinds) words.emplace_back(rawValue(known));
      break;
    case ValueKind::provider:
      for (const RavantProvider provider : kRavantProviders) words.emplace_back(rawValue(provider));
      break;
    case ValueKind::settingKey:
      for (const SettingDescription& setting : knownSettings()) words.push_back(setting.key);
      break;
    case ValueKind::filterInvolvement:
      return rawValuesOf<GithubFilterInvolvement>();
    case ValueKind::filterState:
      return rawValuesOf<GithubFilterState>();
    case ValueKind::filterReview:
      return rawValuesOf<GithubFilterReview>();
    case ValueKind::filterChecks:
      return rawValuesOf<GithubFilterChecks>();
    case ValueKind::filterDraft:
      return rawValuesOf<GithubFilterDraft>();
    case ValueKind::issuesOrder:
      for (const LinearIssuesSortOrder order : kLinearIssuesSortOrders) words.emplace_back(rawValue(order));
      break;
    case ValueKind::pinService:
      words = {"github", "linear"};
      break;
    case ValueKind::exportFormat:
      for (const ExportFormat format : kExportFormats) words.emplace_back(rawValue(format));
      break;
    case ValueKind::text:
    case ValueKind::count:
    case ValueKind::file:
    case ValueKind::folder:
    case ValueKind::repository:
      break;
  }
  return words;
}

std::vector<std::string_view> valueNames(const OptionDescription& option) {
  std::vector<std::string_view> names;
  for (std::string_view rest = option.value; !rest.empty();) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    names.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return names;
}

bool allowsKnownWordsOnly(ValueKind kind) {
  switch (kind) {
    case ValueKind::agentType:
    case ValueKind::sessionAgent:
    case ValueKind::searchKind:
    case ValueKind::filterInvolvement:
    case ValueKind::filterState:
    case ValueKind::filterReview:
    case ValueKind::filterChecks:
    case ValueKind::filterDraft:
    case ValueKind::issuesOrder:
    case ValueKind::pinService:
    case ValueKind::exportFormat:
      return true;
    case ValueKind::text:
    case ValueKind::count:
    case ValueKind::file:
    case ValueKind::folder:
    case ValueKind::agent:
    case ValueKind::provider:
    case ValueKind::settingKey:
    case ValueKind::repository:
      return false;
  }
  __builtin_unreachable();
}

}  // namespace ravant::cli
