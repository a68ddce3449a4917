#include <fmt/ranges.h>

#include <algorithm>

#include "cli/manual/manual.hpp"

namespace ravant::cli {
namespace {

using Names = std::vector<std::string>;

Names commandNames(const CommandGroup& group) {
  Names names;
  for (const Command& command : group.commands) names.emplace_back(command.name);
  return names;
}

Names firstWords() {
  Names names;
  for (const CommandGroup& group : commandGroups()) {
    if (group.name.empty()) {
      std::ranges::move(commandNames(group), std::back_inserter(names));
    } else {
      names.emplace_back(group.name);
    }
  }
  return names;
}

Names optionNames(const Command& command) {
  Names names;
  for (const OptionDescription& option : command.options) names.emplace_back(option.name);
  for (const OptionDescription& option : commonOptions()) names.emplace_back(option.name);
  return names;
}

/// The key of a command in the script: its words without the program's name.
std::string key(const CommandGroup& group, const Command& command) {
  return fullName(&group, &command).substr(std::string_view("ravant ").size());
}

std::string wordsReply(const Names& words) {
  return fmt::format("mapfile -t COMPREPLY < <(compgen -W '{}' -- \"$current\")", fmt::join(words, " "));
}

std::string valueReply(ValueKind kind) {
  if (const Names words = knownWords(kind); !words.empty()) return wordsReply(words);
  if (kind == ValueKind::file) return "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- \"$current\")";
  if (kind == ValueKind::folder) return "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- \"$current\")";
  return ":";
}

std::string valueCases() {
  std::string cases;
  for (const OptionDescription& option : optionsWithValues()) {
    cases += fmt::format("    {}) {}; return ;;\n", option.name, valueReply(option.kind));
  }
  return cases;
}

/// The words of the first argument, offered again for others only where it can be repeated.
std::string argumentReply(const Command& command) {
  if (command.positionals.empty()) return ":";
  const PositionalDescription& first = command.positionals.front();
  const std::string reply = valueReply(first.kind);
  return isRepeated(first.occurrence) ? reply : fmt::format("if ((arguments == 0)); then {}; fi", reply);
}

std::string commandCases() {
  std::string cases = fmt::format("    '') {} ;;\n", wordsReply(firstWords()));
  for (const CommandGroup& group : commandGroups()) {
    if (!group.name.empty()) cases += fmt::format("    '{}') {} ;;\n", group.name, wordsReply(commandNames(group)));
    for (const Command& command : group.commands) {
      cases += fmt::format("    '{}') {} ;;\n", key(group, command), argumentReply(command));
    }
  }
  return cases;
}

std::string optionCases() {
  std::string cases;
  for (const CommandGroup& group : commandGroups()) {
    for (const Command& command : group.commands) {
      cases += fmt::format("      '{}') {} ;;\n", key(group, command), wordsReply(optionNames(command)));
    }
  }
  return cases + fmt::format("      *) {} ;;\n", wordsReply(optionNames({})));
}

std::string knownPrefixes() {
  Names prefixes;
  for (const std::string& word : firstWords()) prefixes.push_back(fmt::format("' {}'", word));
  for (const CommandGroup& group : commandGroups()) {
    if (group.name.empty()) continue;
    for (const Command& command : group.commands) prefixes.push_back(fmt::format("'{}'", key(group, command)));
  }
  return fmt::format("{}", fmt::join(prefixes, "|"));
}

}  // namespace

std::string bashCompletions() {
  Names valueOptions;
  for (const OptionDescription& option : optionsWithValues()) valueOptions.emplace_back(option.name);
  std::string script = R"(# bash completion for ravant
_ravant() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command='' arguments=0 i
  for ((i = 1; i < COMP_CWORD; i++)); do
    case ${COMP_WORDS[i]} in
      @VALUE_OPTIONS@) ((++i)) ;;
      -*) ;;
      *) case "$command ${COMP_WORDS[i]}" in
        @PREFIXES@) command="${command:+$command }${COMP_WORDS[i]}" ;;
        *) ((++arguments)) ;;
      esac ;;
    esac
  done
  COMPREPLY=()
  case $previous in
@VALUE_CASES@  esac
  if [[ $current == -* ]]; then
    case $command in
@OPTION_CASES@    esac
    return
  fi
  case $command in
@COMMAND_CASES@  esac
}
complete -F _ravant ravant
)";
  const auto replace = [&script](std::string_view mark, std::string_view text) {
    script.replace(script.find(mark), mark.size(), text);
  };
  replace("@VALUE_OPTIONS@", fmt::format("{}", fmt::join(valueOptions, "|")));
  replace("@PREFIXES@", knownPrefixes());
  replace("@VALUE_CASES@", valueCases());
  replace("@OPTION_CASES@", optionCases());
  replace("@COMMAND_CASES@", commandCases());
  return script;
}

}  // namespace ravant::cli
