#include "runners/shell_set_up.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdlib>
#include <initializer_list>

#include "platform/process/shell_quoted.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

// Every line of ours has it, so that the history can be told to pass over them.
constexpr std::string_view kMarkerWord = "__RAVANT_";

constexpr std::string_view kIsBash = R"(-n "$BASH_VERSION")";
constexpr std::string_view kIsZsh = R"(-n "$ZSH_VERSION")";
constexpr std::string_view kIsAnother = R"(-z "$BASH_VERSION$ZSH_VERSION")";

using Commands = std::initializer_list<std::string_view>;

/// One step of the set-up. Inside `eval`, what a shell cannot parse or do spoils no other step.
std::string step(Commands commands) { return fmt::format("eval '{}' >/dev/null 2>&1; ", fmt::join(commands, "; ")); }

/// A step that is taken where the test holds.
std::string stepWhere(std::string_view test, Commands commands) {
  return fmt::format("test {} && {}", test, step(commands));
}

std::string inheritedOr(const std::map<std::string, std::string>& environment, const std::string& name) {
  const auto found = environment.find(name);
  if (found != environment.end()) return found->second;
  const char* const inherited = std::getenv(name.c_str());
  return inherited == nullptr ? std::string() : inherited;
}

}  // namespace

ShellMarker::ShellMarker(std::string_view name) : rest_(fmt::format("{}_{}__", name, Uuid::random().upperText())) {}

std::string ShellMarker::printed() const { return fmt::format("{}{}", kMarkerWord, rest_); }

std::string ShellMarker::echoed() const { return fmt::format("\\echo {}''{}", kMarkerWord, rest_); }

std::string ShellSetUp::askWhetherReady() const {
  return fmt::format("unset -f echo 2>/dev/null || true; {}\n", ready.echoed());
}

// Variables that a profile can have made read-only are unset, never assigned: assigning would abandon the rest of the
// step. Turning bash's line editor off inside of `eval` would abandon the rest of the line. Left of `||` bash keeps its
// ERR trap.
std::string ShellSetUp::silence() const {
  std::string line = "eval 'set +e +u +x +v' 2>/dev/null || true; ";
  line += stepWhere(kIsBash, {"trap - DEBUG ERR RETURN", "set +o history +o histexpand",
                              "unset PROMPT_COMMAND PS0 PS1 PS2 HISTFILE HISTIGNORE HISTORY_IGNORE MAILCHECK TMOUT"});
  line += stepWhere(kIsZsh, {"unset HISTFILE HISTIGNORE HISTORY_IGNORE MAILCHECK TMOUT",
                             "unsetopt prompt_sp prompt_cr correct correct_all err_return", "trap - DEBUG ZERR",
                             "unset precmd_functions preexec_functions periodic_functions chpwd_functions",
                             "unfunction precmd preexec periodic chpwd TRAPDEBUG TRAPZERR", "PS1= PS2= RPS1= RPS2="});
  line += stepWhere(kIsAnother, {"unset HISTFILE HISTIGNORE HISTORY_IGNORE", "PS1= PS2="});
  line += step({"unalias cd echo base64", "unset -f cd echo base64",
                R"(command -v base64 || base64() { /usr/bin/base64 "$@"; })"});
  line += fmt::format("test {} && set +o emacs +o vi; ", kIsBash);
  return fmt::format("{}{}\n", line, quiet.echoed());
}

std::string ShellSetUp::enter(const std::filesystem::path& folder) const {
  return fmt::format("\\cd -- {} || \\exit; {}\n", shellQuoted(folder.string()), inFolder.echoed());
}

std::map<std::string, std::string> withoutHistory(std::map<std::string, std::string> environment) {
  const std::string pattern = fmt::format("*{}*", kMarkerWord);
  const std::string bash = inheritedOr(environment, "HISTIGNORE");
  const std::string zsh = inheritedOr(environment, "HISTORY_IGNORE");
  environment["HISTIGNORE"] = bash.empty() ? pattern : fmt::format("{}:{}", bash, pattern);
  environment["HISTFILE"] = "";
  environment["HISTORY_IGNORE"] = zsh.empty() ? pattern : fmt::format("({}|{})", zsh, pattern);
  return environment;
}

}  // namespace ravant
