#include <fmt/ranges.h>

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

/// The words so far that are neither options nor their values: exactly these, or these first.
std::string wordsAre(std::string_view words) { return fmt::format("__ravant_words_are {}", words); }
std::string wordsBegin(std::string_view words) { return fmt::format("__ravant_words_begin {}", words); }

std::string commandLines(std::string_view words, const Command& command) {
  std::string lines;
  for (const OptionDescription& option : command.options) lines += optionLine(wordsBegin(words), option);
  if (command.positionals.empty()) return lines;
  const PositionalDescription& first = command.positionals.front();
  const std::string choices = values(first.kind);
  if (choices.empty()) return lines;
  return lines + line(isRepeated(first.occurrence) ? wordsBegin(words) : wordsAre(words), choices.substr(1));
}

std::string groupLines(const CommandGroup& group) {
  std::string lines;
  for (const Command& command : group.commands) {
    const std::string words = fmt::format("{}{}{}", group.name, group.name.empty() ? "" : " ", command.name);
    lines += wordLine(wordsAre(group.name), command.name, command.summary) + commandLines(words, command);
  }
  return lines;
}

constexpr std::string_view kFunctions = R"(
function __ravant_words
    set -l words (commandline -opc)
    set -e words[1]
    set -l isValue no
    for word in $words
        if test $isValue = yes
            set isValue no
        else if contains -- $word @VALUE_OPTIONS@
            set isValue yes
        else if not string match -q -- '-*' $word
            echo $word
        end
    end
end
function __ravant_words_are
    set -l words (__ravant_words)
    test "$words" = "$argv"
end
function __ravant_words_begin
    set -l words (__ravant_words)
    set -l first $words[1..(count $argv)]
    test "$first" = "$argv"
end

)";

}  // namespace

std::string fishCompletions() {
  std::vector<std::string_view> valueOptions;
  const std::vector<OptionDescription> withValues = optionsWithValues();
  for (const OptionDescription& option : withValues) valueOptions.push_back(option.name);
  constexpr std::string_view kMark = "@VALUE_OPTIONS@";
  std::string functions(kFunctions);
  functions.replace(functions.find(kMark), kMark.size(), fmt::format("{}", fmt::join(valueOptions, " ")));

  std::string script = "# fish completion for ravant\ncomplete -c ravant -f\n" + functions;
  for (const OptionDescription& option : commonOptions()) script += optionLine({}, option);
  for (const CommandGroup& group : commandGroups()) {
    if (!group.name.empty()) script += wordLine(wordsAre({}), group.name, group.summary);
    script += groupLines(group);
  }
  return script;
}

}  // namespace ravant::cli
