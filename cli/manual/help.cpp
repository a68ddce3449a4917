#include "cli/manual/help.hpp"

#include <fmt/ranges.h>

#include "cli/output/terminal_text.hpp"

namespace ravant::cli {
namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kGap = 2;

struct Row {
  std::string left;
  std::string right;
};

std::string wrapped(std::string_view text, std::size_t indent) {
  std::string result;
  std::size_t column = indent;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    const std::string_view word = text.substr(at, end - at);
    if (column > indent && column + 1 + word.size() > kWidth) {
      result.append("\n").append(indent, ' ');
      column = indent;
    } else if (column > indent) {
      result += ' ';
      ++column;
    }
    result += word;
    column += word.size();
    at = end + 1;
  }
  return result;
}

std::string section(std::string_view title, const std::vector<Row>& rows) {
  if (rows.empty()) return {};
  std::size_t width = 0;
  for (const Row& row : rows) width = std::max(width, row.left.size());
  std::string text = fmt::format("\n{}:\n", title);
  for (const auto& [left, right] : rows) {
    text += fmt::format("  {:<{}}{:{}}{}\n", left, width, "", kGap, wrapped(right, 2 + width + kGap));
  }
  return text;
}

std::vector<Row> rowsOf(const std::vector<OptionDescription>& options) {
  std::vector<Row> rows;
  for (const OptionDescription& option : options) {
    std::string right(option.description);
    if (const auto words = knownWords(option.kind); !words.empty()) {
      right += fmt::format(" ({})", fmt::join(words, ", "));
    }
    const std::string shortName = option.shortName.empty() ? "" : fmt::format("{}, ", option.shortName);
    rows.push_back({shortName + optionWord(option), std::move(right)});
  }
  return rows;
}

std::vector<Row> rowsOf(const std::vector<Command>& commands) {
  std::vector<Row> rows;
  for (const Command& command : commands) rows.push_back({std::string(command.name), std::string(command.summary)});
  return rows;
}

std::vector<Row> rowsOfWords(const std::vector<PositionalDescription>& positionals) {
  std::vector<Row> rows;
  for (const PositionalDescription& positional : positionals) {
    if (const auto words = knownWords(positional.kind); !words.empty()) {
      rows.push_back({std::string(positional.name), fmt::format("{}", fmt::join(words, ", "))});
    }
  }
  return rows;
}

std::string paragraphs(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t end = text.find("\n\n");
    result += fmt::format("\n{}\n", wrapped(text.substr(0, end), 0));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 2);
  }
  return result;
}

std::string commandHelp(const CommandGroup& group, const Command& command) {
  return fmt::format("{}.\n\nUsage: {}\n", command.summary, wrapped(usageLine(group, command), 9)) +
         paragraphs(command.description) + section("Words", rowsOfWords(command.positionals)) +
         section("Options", rowsOf(command.options)) + section("Common options", rowsOf(commonOptions()));
}

std::string groupHelp(const CommandGroup& group) {
  return fmt::format("{}.\n\nUsage: {} COMMAND ...\n", group.summary, fullName(&group, nullptr)) +
         section("Commands", rowsOf(group.commands)) + section("Common options", rowsOf(commonOptions()));
}

std::string programHelp() {
  std::vector<Row> rows;
  for (const CommandGroup& group : commandGroups()) {
    if (group.name.empty()) {
      std::ranges::move(rowsOf(group.commands), std::back_inserter(rows));
    } else {
      rows.push_back({std::string(group.name), std::string(group.summary)});
    }
  }
  return "A workbench for coding agents.\n\nUsage: ravant COMMAND ...\n" + section("Commands", rows) +
         section("Common options", rowsOf(commonOptions())) +
         "\nSee \"ravant COMMAND --help\" for more about a command.\n";
}

}  // namespace

std::string helpText(const CommandLine& line) {
  if (line.command) return commandHelp(*line.group, *line.command);
  return line.group ? groupHelp(*line.group) : programHelp();
}

std::string positionalWord(const PositionalDescription& positional) {
  switch (positional.occurrence) {
    case Occurrence::once:
      return std::string(positional.name);
    case Occurrence::atMostOnce:
      return fmt::format("[{}]", positional.name);
    case Occurrence::atLeastOnce:
      return fmt::format("{}...", positional.name);
    case Occurrence::any:
      return fmt::format("[{}...]", positional.name);
  }
  __builtin_unreachable();
}

std::string optionWord(const OptionDescription& option) {
  return option.value.empty() ? std::string(option.name) : fmt::format("{} {}", option.name, option.value);
}

std::string usageLine(const CommandGroup& group, const Command& command) {
  std::string line = fullName(&group, &command);
  for (const OptionDescription& option : command.options) {
    line += fmt::format(" [{}]{}", optionWord(option), option.occurrence == Occurrence::any ? "..." : "");
  }
  for (const PositionalDescription& positional : command.positionals) line += " " + positionalWord(positional);
  return line;
}

}  // namespace ravant::cli
