#include "cli/command/command_line.hpp"

#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <cctype>
#include <charconv>
#include <deque>

#include "cli/output/command_error.hpp"
#include "core/integrations/github_integration.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::cli {
namespace {

/// Ends a word that CLI11 would otherwise take for a list of words, and one that is a value without doubt; no argument
/// of a program contains it.
constexpr char kGuard = '\0';

/// The words as CLI11 must be given them: it splits `[a,b]`, and takes the next word as the value of `--name=`, where
/// the value is empty.
std::vector<std::string> guarded(const std::vector<std::string>& words) {
  std::vector<std::string> result;
  bool areOptionsOver = false;
  for (const std::string& word : words) {
    areOptionsOver |= word == "--";
    if (!areOptionsOver && word.starts_with("--") && word.find('=') == word.size() - 1) {
      result.push_back(word.substr(0, word.size() - 1));
      result.emplace_back();
    } else if (!areOptionsOver && word.starts_with("--") && word.contains('=')) {
      result.push_back(word + kGuard);
    } else if (word.starts_with('[')) {
      result.push_back(word + kGuard);
    } else {
      result.push_back(word);
    }
  }
  return result;
}

std::vector<std::string> asTyped(std::vector<std::string> words) {
  for (std::string& word : words) std::erase(word, kGuard);
  return words;
}

/// One level of the command line (the program, a group, a command) as CLI11 parses it.
class Level {
 public:
  Level(CLI::App& app, const CommandGroup* group, const Command* command)
      : app_(app), group_(group), command_(command) {
    app.set_help_flag();
    for (const OptionDescription& option : commonOptions()) add(option);
    if (!command) return;
    for (const OptionDescription& option : command->options) add(option);
    for (const PositionalDescription& positional : command->positionals) add(positional);
  }

  bool isNamed() const { return app_.parsed(); }
  bool has(std::string_view name) const { return std::ranges::find(options_, name, &Given::name)->option->count() > 0; }

  /// As many as the option takes; nothing where there is no such option.
  std::optional<std::size_t> values(std::string_view name) const {
    const auto found = std::ranges::find(options_, name, &Given::name);
    return found == options_.end() ? std::nullopt : std::optional(found->values);
  }

  void readNames(CommandLine& line) const {
    if (group_) line.group = group_;
    if (command_) line.command = command_;
  }

  void readArguments(CommandLine& line) const {
    for (const Given& given : options_) {
      if (given.option->count() == 0) continue;
      for (const std::string& word : given.option->results()) {
        if (given.option->get_positional() || !isOption(word)) continue;
        throw UsageError(
            fmt::format("{0} takes a value, and {1} is an option; if it is meant, write {0}={1}", given.name, word));
      }
      std::vector<std::string> values = asTyped(given.option->results());
      for (const std::string& value : values) expect(given, value);
      line.arguments.add(given.name, std::move(values));
    }
  }

 private:
  struct Given {
    std::string_view name;
    ValueKind kind;
    CLI::Option* option;
    std::size_t values = 1;
  };

  void add(const OptionDescription& description) {
    const std::string names = description.shortName.empty()
                                  ? std::string(description.name)
                                  : fmt::format("{},{}", description.shortName, description.name);
    CLI::Option* option = description.value.empty() ? app_.add_flag(names) : app_.add_option(names);
    const std::size_t values = valueNames(description).size();
    if (values > 1) option->expected(static_cast<int>(values));
    if (description.occurrence == Occurrence::any) option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    options_.push_back({description.name, description.kind, option, values});
  }

  void add(const PositionalDescription& description) {
    CLI::Option* option = app_.add_option(std::string(description.name));
    const bool isRequired =
        description.occurrence == Occurrence::once || description.occurrence == Occurrence::atLeastOnce;
    if (isRequired) option->required();
    if (isRepeated(description.occurrence))
      option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
    options_.push_back({description.name, description.kind, option});
  }

  bool isOption(std::string_view word) const {
    return word.starts_with("--") && std::ranges::find(options_, word, &Given::name) != options_.end();
  }

  static void expect(const Given& given, const std::string& value) {
    if (given.kind == ValueKind::count) {
      std::int64_t number = 0;
      const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
      if (error == std::errc() && end == value.data() + value.size() && number > 0) return;
      throw UsageError(fmt::format("{} takes a number from 1, not \"{}\"", given.name, value));
    }
    if (given.kind == ValueKind::repository && !isRepositoryName(value)) {
      throw UsageError(fmt::format("{} takes a repository as OWNER/NAME, not \"{}\"", given.name, value));
    }
    if (allowsKnownWordsOnly(given.kind)) {
      const std::vector<std::string> known = knownWords(given.kind);
      if (std::ranges::find(known, value) != known.end()) return;
      throw UsageError(fmt::format("{} takes one of {}, not \"{}\"", given.name, fmt::join(known, ", "), value));
    }
  }

  CLI::App& app_;
  const CommandGroup* group_;
  const Command* command_;
  std::vector<Given> options_;
};

class Parser {
 public:
  /// Makes only the groups and commands that the words can name: making all of them takes longer than all else that
  /// `ravant --version` does.
  explicit Parser(const std::vector<std::string>& typed) : typed_(typed) {
    levels_.emplace_back(app_, nullptr, nullptr);
    app_.require_subcommand(0, 1);
    for (const CommandGroup& group : commandGroups()) {
      if (!group.name.empty() && !isTyped(group.name)) continue;
      CLI::App& parent = group.name.empty() ? app_ : *app_.add_subcommand(std::string(group.name));
      if (!group.name.empty()) {
        parent.require_subcommand(0, 1);
        levels_.emplace_back(parent, &group, nullptr);
      }
      for (const Command& command : group.commands) {
        if (!isTyped(command.name)) continue;
        levels_.emplace_back(*parent.add_subcommand(std::string(command.name)), &group, &command);
      }
    }
  }

  CommandLine parse() {
    std::optional<std::string> fault;
    try {
      std::vector<std::string> words = guarded(typed_);
      std::ranges::reverse(words);
      app_.parse(std::move(words));
    } catch (const CLI::ArgumentMismatch& error) {
      const std::string_view detail = error.what();
      fault = wordsForWrongCount(detail.substr(0, detail.find(':')));
    } catch (const CLI::ExtrasError&) {
      fault = fmt::format("\"{}\" was not expected", asTyped(app_.remaining(true)).front());
    } catch (const CLI::RequiredError& error) {
      const std::vector<std::string> unknown = asTyped(app_.remaining(true));
      fault = unknown.empty()
                  ? error.what()
                  : fmt::format("\"{}\" was not expected; a word that is no option comes after --", unknown.front());
    } catch (const CLI::ParseError& error) {
      fault = error.what();
    }
    CommandLine line;
    for (const Level& level : levels_) {
      if (!level.isNamed()) continue;
      level.readNames(line);
      if (level.has("--help")) line.request = CommandLine::Request::help;
      if (level.has("--version")) line.request = CommandLine::Request::version;
    }
    // Help and version are answered whatever else is missing or wrong.
    if (line.request != CommandLine::Request::run) return line;
    if (!line.command) throw UsageError(wordsForMissingCommand(line));
    if (fault) throw UsageError(fmt::format("{} (see \"{} --help\")", *fault, fullName(line.group, line.command)));
    for (const Level& level : levels_) {
      if (level.isNamed()) level.readArguments(line);
    }
    return line;
  }

 private:
  bool isTyped(std::string_view name) const { return std::ranges::find(typed_, name) != typed_.end(); }

  std::string wordsForWrongCount(std::string_view option) const {
    std::size_t values = 1;
    for (const Level& level : levels_) {
      if (level.isNamed()) values = level.values(option).value_or(values);
    }
    return values == 1 ? fmt::format("{} takes one value", option) : fmt::format("{} takes {} values", option, values);
  }

  std::string wordsForMissingCommand(const CommandLine& line) const {
    const std::vector<std::string> unknown = asTyped(app_.remaining(true));
    const std::string name = fullName(line.group, nullptr);
    return unknown.empty() ? fmt::format("\"{0}\" needs a command (see \"{0} --help\")", name)
                           : fmt::format("\"{0}\" has no \"{1}\" (see \"{0} --help\")", name, unknown.front());
  }

  const std::vector<std::string>& typed_;
  CLI::App app_{"", "ravant"};
  std::deque<Level> levels_;
};

void expectUtf8(const std::vector<std::string>& words) {
  if (!std::ranges::all_of(words, isValidUtf8)) throw UsageError("an argument is not valid UTF-8");
}

}  // namespace

CommandLine parseCommandLine(const std::vector<std::string>& words) {
  expectUtf8(words);
  return Parser(words).parse();
}

}  // namespace ravant::cli
