#include "cli/manual/manual.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/program.hpp"

namespace ravant::cli {
namespace {

using test::Program;
using test::ProgramResult;
using test::TemporaryFolder;

ProgramResult runShell(std::vector<std::string> arguments) {
  const std::string shell = arguments.front();
  arguments.erase(arguments.begin());
  const TemporaryFolder home;
  return Program({.path = shell,
                  .arguments = std::move(arguments),
                  .environment = {{"HOME", home.path()}, {"PATH", "/usr/bin:/bin"}, {"LC_ALL", "C.UTF-8"}}})
      .wait();
}

struct CompletionCase {
  const char* name;
  const char* line;  ///< with one blank between the words; the last one is completed
  const char* completions;
};

class Completion : public testing::TestWithParam<CompletionCase> {
 protected:
  const TemporaryFolder folder;
};

constexpr const char* kCompleteInBash = R"(
compopt() { :; }
source "$0"
read -ra COMP_WORDS <<<"$1"
[[ $1 != *' ' ]] || COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
_ravant
echo "${COMPREPLY[*]}"
)";

TEST_P(Completion, InBash) {
  const std::string script = folder.write("ravant", bashCompletions());
  const ProgramResult result = runShell({"/bin/bash", "-c", kCompleteInBash, script, GetParam().line});
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.output, std::string(GetParam().completions) + "\n");
}

TEST_P(Completion, InFish) {
  const std::string script = folder.write("ravant.fish", fishCompletions());
  const ProgramResult result =
      runShell({"/usr/bin/fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2] | string split -f1 \\t",
                script, GetParam().line});
  EXPECT_EQ(result.errors, "");
  std::vector<std::string> expected;
  std::istringstream words{std::string(GetParam().completions)};
  for (std::string word; words >> word;) expected.push_back(word);
  std::vector<std::string> found;
  std::istringstream lines(result.output);
  for (std::string line; std::getline(lines, line);) found.push_back(line);
  EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, Completion,
    testing::Values(
        CompletionCase{"commands", "ravant ",
                       "run palette doctor import project agent model conversation git key github linear pin process "
                       "settings"},
        CompletionCase{"in_group", "ravant project re", "rename remove reorder"},
        CompletionCase{"types", "ravant agent add c", "codex claude cursor"},
        CompletionCase{"option", "ravant run --mo", "--model"},
        CompletionCase{"value", "ravant run --agent ", "ravant codex claude pi cursor"},
        CompletionCase{"facet", "ravant github query --repo a/b --state ", "open merged closed"},
        CompletionCase{"service", "ravant pin add ", "github linear"},
        CompletionCase{"service_once", "ravant pin add github ", ""},
        CompletionCase{"options_of_that_command", "ravant pin add github --to", ""},
        CompletionCase{"behind_a_value", "ravant pin add --title github ", "github linear"},
        CompletionCase{"behind_options", "ravant --data-dir /tmp settings get s", "shell.startSeconds"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(Manual, ZshTakesItsCompletions) {
  const TemporaryFolder folder;
  const ProgramResult result = runShell({"/usr/bin/zsh", "-n", folder.write("_ravant", zshCompletions())});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
}

TEST(Manual, ThePageHasNoFault) {
  const TemporaryFolder folder;
  const ProgramResult result = runShell({"/usr/bin/man", "--warnings", "-l", folder.write("ravant.1", manPage())});
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.output, testing::HasSubstr("ravant conversation show [--last N] [--raw] CONV"));
  EXPECT_THAT(result.output, testing::HasSubstr("RAVANT_GITHUB_URL, RAVANT_LINEAR_URL"));
  EXPECT_THAT(result.output, testing::HasSubstr("ravant github query [--repo OWNER/NAME]... [--involvement WHO]"));
}

}  // namespace
}  // namespace ravant::cli
