#include <gmock/gmock.h>

#include <map>

#include "tests/runners/shell_session_fixture.hpp"

namespace ravant::test {
namespace {

const std::string kBash = "/bin/bash";
const std::string kZsh = "/bin/zsh";
const std::string kDash = "/bin/dash";

struct Profile {
  std::string name;
  std::vector<std::string> shells;
  std::string text;
};

class ShellProfileTest : public ShellSessionTest, public testing::WithParamInterface<Profile> {};

TEST_P(ShellProfileTest, onlyTheAgentIsHeard) {
  writeProfile(GetParam().text);
  for (const std::string& shell : GetParam().shells) {
    SCOPED_TRACE(shell);
    withSession(shell, [&](ShellSession& session) -> awaitable<void> {
      co_await session.startShell(home_.path());
      EXPECT_EQ(session.drainStderr(), "");
      co_await session.writeStdin("echo first; echo complaint >&2; (exit 3) < /dev/null; echo last\n");
      EXPECT_EQ(co_await line(session), "first");
      EXPECT_EQ(co_await line(session), "last");
      EXPECT_EQ(session.drainStderr(), "complaint\n");

      co_await session.writeStdin(
          "echo \"$notSet\" 'it!s'; sh -c 'echo again >&2; env | grep -E \"HISTFILE=$|__RAVANT\"'; echo end\n\n");
      EXPECT_EQ(co_await line(session), " it!s");
      EXPECT_EQ(co_await line(session), "end");
      co_await session.writeStdin("echo really\n");
      EXPECT_EQ(co_await line(session), "really");
      EXPECT_EQ(session.drainStderr(), "again\n");
    });
  }
}

INSTANTIATE_TEST_SUITE_P(
    Profiles, ShellProfileTest,
    testing::Values(
        Profile{"none", {kBash, kZsh, kDash}, ""},
        Profile{"prints", {kBash, kZsh, kDash}, "echo banner; echo warning >&2; printf 'no line feed'"},
        Profile{"exitsOnErrors", {kBash, kZsh, kDash}, "set -e"},
        Profile{"refusesUnsetVariables", {kBash, kZsh, kDash}, "set -u"},
        Profile{"traces", {kBash, kZsh, kDash}, "set -x"}, Profile{"echoesItsInput", {kBash, kZsh, kDash}, "set -v"},
        Profile{"everyOption", {kBash, kZsh, kDash}, "set -euxv"},
        Profile{"prompts", {kBash, kZsh, kDash}, "PS1='$(echo prompt) > '; PS2='more > '; PS4='trace '"},
        Profile{"slow", {kBash, kZsh, kDash}, "sleep 0.2"},
        Profile{"itsOwnEcho", {kBash, kZsh, kDash}, "echo() { printf 'mine %s' \"$*\"; }\nalias echo='echo -n'"},
        Profile{"bashPromptCommand", {kBash}, "PROMPT_COMMAND='printf \"hook> \"'; PS0='running\n'"},
        Profile{"bashPromptCommands", {kBash}, "PROMPT_COMMAND=('echo one' 'echo two')"},
        Profile{"bashTraps", {kBash}, "trap 'echo \"$BASH_COMMAND\"' DEBUG; trap 'echo failed' ERR; set -T -E"},
        Profile{"bashTraceToOutput", {kBash}, "BASH_XTRACEFD=1; set -x"},
        Profile{"bashReadOnlyVariables",
                {kBash},
                "readonly HISTFILE=~/.history TMOUT=600 PROMPT_COMMAND='history -a' HISTSIZE=100"},
        Profile{"bashPosix", {kBash}, "set -o posix; set -e"},
        Profile{
            "becomesAnotherShell", {kBash, kDash}, "unset -f x 2>/dev/null; [ -n \"$ZSH_VERSION\" ] || exec zsh -l -i"},
        Profile{"zshHooks",
                {kZsh},
                "precmd() { echo precmd }; preexec() { echo preexec }; f() { printf 'f> ' }\n"
                "precmd_functions+=(f) preexec_functions+=(f); TRAPZERR() { echo failed }; TRAPDEBUG() { echo debug }"},
        Profile{
            "zshPrompts", {kZsh}, "setopt prompt_subst; PS1=$'%F{red}%m%f\\n> ' RPS1='%D' PS2='%_> '; setopt xtrace"},
        Profile{"zshOptions",
                {kZsh},
                "setopt err_exit err_return no_unset correct_all ksh_arrays sh_word_split rc_quotes no_nomatch"},
        Profile{"zshVi", {kZsh}, "bindkey -v; autoload -Uz compinit promptinit; promptinit; prompt walters"}),
    [](const auto& info) { return info.param.name; });

using ShellProfileOutputTest = ShellSessionTest;

// The shell's own echo of what it reads then stands in its output too.
TEST_F(ShellProfileOutputTest, theFirstLineIsTheAgentsAlsoWhereErrorsGoToTheOutput) {
  for (const char* profile : {"exec 2>&1", "exec 2>&1; set -v", "exec 2>&1; set -vx"}) {
    for (const std::string& shell : {kBash, kZsh, kDash}) {
      SCOPED_TRACE(shell + ": " + profile);
      writeProfile(profile);
      withSession(shell, [&](ShellSession& session) -> awaitable<void> {
        co_await session.startShell(home_.path());
        co_await session.writeStdin("echo first\n");
        EXPECT_EQ(co_await line(session), "first");
      });
    }
  }
}

TEST_F(ShellProfileOutputTest, promptsCanBeReadAlsoWithoutASearchPath) {
  writeProfile("PATH=/nowhere");
  for (const std::string& shell : {kBash, kZsh, kDash}) {
    SCOPED_TRACE(shell);
    withSession(shell, [&](ShellSession& session) -> awaitable<void> {
      co_await session.startShell(home_.path());
      co_await session.writeStdin("echo \"$(echo aGVsbG8= | base64 -d)\"\n");
      EXPECT_EQ(co_await line(session), "hello");
    });
  }
}

struct HistoryProfile {
  std::string name;
  std::string shell;
  std::string text;
};

class ShellHistoryTest : public ShellSessionTest, public testing::WithParamInterface<HistoryProfile> {
 protected:
  /// Each file of the home folder with its contents.
  std::map<std::string, std::string> filesAtHome() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home_.path())) {
      std::ifstream file(entry.path());
      files[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
    }
    return files;
  }

  awaitable<void> useAndEnd(ShellSession& session, std::string lastCommand) const {
    co_await session.startShell(home_.path());
    co_await session.writeStdin("echo secret; echo prompt\n");
    EXPECT_EQ(co_await line(session), "secret");
    EXPECT_EQ(co_await line(session), "prompt");
    co_await session.writeStdin(lastCommand);
    if (!lastCommand.empty()) {
      EXPECT_EQ(co_await line(session), "end of stream");
    }
  }
};

TEST_P(ShellHistoryTest, isUntouched) {
  writeProfile(GetParam().text);
  for (const char* name : {".bash_history", ".zsh_history", ".history"}) home_.write(name, "ls\ncd\n");
  const auto before = filesAtHome();
  for (const std::string lastCommand : {"", "exit\n", "kill -HUP $$\n"}) {
    SCOPED_TRACE(lastCommand);
    withSession(GetParam().shell, [&](ShellSession& session) { return useAndEnd(session, lastCommand); });
    EXPECT_EQ(filesAtHome(), before);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Profiles, ShellHistoryTest,
    testing::Values(
        HistoryProfile{"bash", kBash, ""},
        HistoryProfile{"bashWritesAtOnce", kBash, "shopt -s histappend; PROMPT_COMMAND='history -a; history -n'"},
        HistoryProfile{"bashWritesAtOnceToItsOwnFile", kBash, "HISTFILE=~/.history; PROMPT_COMMAND='history -a'"},
        HistoryProfile{"bashHasItsOwnPatterns", kBash, "HISTIGNORE='ls:cd'; PROMPT_COMMAND='history -a'"},
        HistoryProfile{"bashReadOnlyFile", kBash, "readonly HISTFILE=~/.history PROMPT_COMMAND='history -a'"},
        HistoryProfile{"zsh", kZsh, "HISTFILE=~/.zsh_history; SAVEHIST=100; HISTSIZE=100"},
        HistoryProfile{"zshSharesAtOnce", kZsh, "HISTFILE=~/.zsh_history; SAVEHIST=100; setopt share_history"},
        HistoryProfile{"zshWritesAtOnce", kZsh,
                       "HISTFILE=~/.zsh_history; SAVEHIST=100; setopt inc_append_history hist_fcntl_lock"}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace ravant::test
