#include "cli/manual/manual.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "cli/output/command_error.hpp"

namespace ravant::cli {

std::string manual(std::string_view kind) {
  if (kind == "man") return manPage();
  if (kind == "bash") return bashCompletions();
  if (kind == "zsh") return zshCompletions();
  if (kind == "fish") return fishCompletions();
  throw UsageError(fmt::format("there is no manual of the kind \"{}\": man, bash, zsh, fish", kind));
}

std::vector<OptionDescription> optionsWithValues() {
  std::vector<OptionDescription> found;
  const auto add = [&found](const std::vector<OptionDescription>& options) {
    for (const OptionDescription& option : options) {
      if (option.value.empty()) continue;
      if (std::ranges::find(found, option.name, &OptionDescription::name) == found.end()) found.push_back(option);
    }
  };
  add(commonOptions());
  for (const CommandGroup& group : commandGroups()) {
    for (const Command& command : group.commands) add(command.options);
  }
  return found;
}

}  // namespace ravant::cli
