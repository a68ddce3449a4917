#include <fmt/ranges.h>

#include "cli/command/command.hpp"
#include "cli/manual/manual.hpp"

namespace ravant::cli {
namespace {

std::string fishWord(std::string_view text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') result += '\\';
    result += c;
  }
  return result + "'";
}

std::string values(ValueKind kind) {
  if (const auto words = knownWords(kind); !words.empty()) {
    return fmt::format(" -a {}", fishWord(fmt::format("{}", fmt::join(words, " "))));
  }
  if (kind == ValueKind::file) return " -F";
  if (kind == ValueKind::folder) return " -a '(__fish_complete_directories)'";
  return {};
}

std::string line(std::string_view condition, std::string_view rest) {
  return condition.empty() ? fmt::format("complete -c ravant {}\n", rest)
                           : fmt::format("complete -c ravant -n {} {}\n", fishWord(condition), rest);
}

std::string optionLine(std::string_view condition, const OptionDescription& option) {
  std::string rest = fmt::format("-l {}", option.name.substr(2));
  if (!option.shortName.empty()) rest += fmt::format(" -s {}", option.shortName.substr(1));
  if (!option.value.empty()) rest += (option.kind == ValueKind::file ? " -r" : " -x") + values(option.kind);
  return line(condition, fmt::format("{} -d {}", rest, fishWord(option.description)));
}

std::string wordLine(std::string_view condition, std::string_view word, std::string_view summary) {
  return line(condition, fmt::format("-a {} -d {}", word, fishWord(summary)));
}

std::string seen(const std::vector<std::string_view>& words) {
  return fmt::format("__fish_seen_subcommand_from {}", fmt::join(words, " "));
}

std::string commandLines(std::string_view condition, const Command& command) {
  std::string lines;
  for (const OptionDescription& option : command.options) lines += optionLine(condition, option);
  if (!command.positionals.empty()) {
    const std::string words = values(command.positionals.front().kind);
    if (!words.empty()) lines += line(condition, words.substr(1));
  }
  return lines;
}

std::string groupLines(const CommandGroup& group) {
  std::vector<std::string_view> names;
  for (const Command& command : group.commands) names.push_back(command.name);
  const std::string unchosen = fmt::format("{}; and not {}", seen({group.name}), seen(names));
  std::string lines;
  for (const Command& command : group.commands) {
    lines += wordLine(unchosen, command.name, command.summary);
    lines += commandLines(fmt::format("{}; and {}", seen({group.name}), seen({command.name})), command);
  }
  return lines;
}

}  // namespace

std::string fishCompletions() {
  std::vector<std::string_view> firstWords;
  for (const CommandGroup& group : commandGroups()) {
    if (!group.name.empty()) firstWords.push_back(group.name);
    if (group.name.empty()) {
      for (const Command& command : group.commands) firstWords.push_back(command.name);
    }
  }
  const std::string unchosen = "not " + seen(firstWords);
  std::string script = "# fish completion for ravant\ncomplete -c ravant -f\n";
  for (const OptionDescription& option : commonOptions()) script += optionLine({}, option);
  for (const CommandGroup& group : commandGroups()) {
    if (!group.name.empty()) {
      script += wordLine(unchosen, group.name, group.summary) + groupLines(group);
      continue;
    }
    for (const Command& command : group.commands) {
      script += wordLine(unchosen, command.name, command.summary) + commandLines(seen({command.name}), command);
    }
  }
  return script;
}

}  // namespace ravant::cli
