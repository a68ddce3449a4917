#include <fmt/ranges.h>

#include "cli/command/command.hpp"
#include "cli/manual/manual.hpp"

namespace ravant::cli {
namespace {

/// Inside a specification of `_arguments` that stands in single quotes.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\'') {
      result += "'\\''";
      continue;
    }
    if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

std::string action(ValueKind kind) {
  if (const auto words = knownWords(kind); !words.empty()) return fmt::format("({})", fmt::join(words, " "));
  if (kind == ValueKind::file) return "_files";
  if (kind == ValueKind::folder) return "_files -/";
  return " ";
}

std::string specification(const OptionDescription& option) {
  const std::string_view repeated = option.occurrence == Occurrence::any ? "*" : "";
  std::string text = fmt::format("'{}{}[{}]", repeated, option.name, escaped(option.description));
  for (const std::string_view name : valueNames(option)) {
    text += fmt::format(":{}:{}", escaped(name), action(option.kind));
  }
  return text + "'";
}

std::string specification(const PositionalDescription& positional) {
  const std::string_view place = isRepeated(positional.occurrence) ? "*" : "";
  return fmt::format("'{}:{}:{}'", place, escaped(positional.name), action(positional.kind));
}

std::string commandCase(const Command& command) {
  std::string text = fmt::format("    {}) _arguments $_ravant_common", command.name);
  for (const OptionDescription& option : command.options) text += " \\\n        " + specification(option);
  for (const PositionalDescription& positional : command.positionals) {
    text += " \\\n        " + specification(positional);
  }
  return text + " ;;\n";
}

struct Choice {
  std::string_view name;
  std::string_view summary;
};

std::string choiceFunction(std::string_view name, const std::vector<Choice>& choices, std::string_view cases) {
  std::string described;
  for (const Choice& choice : choices) {
    described += fmt::format("    '{}:{}'\n", choice.name, escaped(choice.summary));
  }
  return fmt::format(
      "{}() {{\n"
      "  local context state state_descr line\n"
      "  typeset -A opt_args\n"
      "  local -a choices=(\n{}  )\n"
      "  _arguments -C $_ravant_common '1:command:->choice' '*::argument:->argument' && return\n"
      "  if [[ $state == choice ]]; then\n"
      "    _describe command choices\n"
      "    return\n"
      "  fi\n"
      "  case $line[1] in\n{}  esac\n"
      "}}\n\n",
      name, described, cases);
}

}  // namespace

std::string zshCompletions() {
  std::string functions;
  std::string programCases;
  std::vector<Choice> programChoices;
  for (const CommandGroup& group : commandGroups()) {
    std::vector<Choice> choices;
    std::string cases;
    for (const Command& command : group.commands) {
      choices.push_back({command.name, command.summary});
      cases += commandCase(command);
    }
    if (group.name.empty()) {
      std::ranges::move(choices, std::back_inserter(programChoices));
      programCases += cases;
    } else {
      functions += choiceFunction(fmt::format("_ravant_{}", group.name), choices, cases);
      programChoices.push_back({group.name, group.summary});
      programCases += fmt::format("    {0}) _ravant_{0} ;;\n", group.name);
    }
  }
  std::string common;
  for (const OptionDescription& option : commonOptions()) common += "  " + specification(option) + "\n";
  return fmt::format("#compdef ravant\n\ntypeset -ga _ravant_common=(\n{})\n\n{}{}_ravant \"$@\"\n", common, functions,
                     choiceFunction("_ravant", programChoices, programCases));
}

}  // namespace ravant::cli
