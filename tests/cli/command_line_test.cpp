#include "cli/command/command_line.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/manual/help.hpp"
#include "cli/output/command_error.hpp"

namespace ravant::cli {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct WrongCase {
  const char* name;
  std::vector<std::string> words;
  const char* error;
};

class WrongCommandLine : public testing::TestWithParam<WrongCase> {};

TEST_P(WrongCommandLine, IsRefusedWithAReason) {
  try {
    parseCommandLine(GetParam().words);
    FAIL() << "it was taken";
  } catch (const UsageError& error) {
    EXPECT_THAT(error.what(), HasSubstr(GetParam().error));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Words, WrongCommandLine,
    testing::Values(
        WrongCase{"nothing", {}, "\"ravant\" needs a command"},
        WrongCase{"unknown_command", {"frobnicate"}, "\"ravant\" has no \"frobnicate\""},
        WrongCase{"group_alone", {"project"}, "\"ravant project\" needs a command"},
        WrongCase{"unknown_in_group", {"project", "run"}, "\"ravant project\" has no \"run\""},
        WrongCase{"unknown_option", {"run", "--frobnicate"}, "\"--frobnicate\" was not expected"},
        WrongCase{"option_of_another", {"agent", "list", "--project", "x"}, "was not expected"},
        WrongCase{"missing_value", {"run", "--title"}, "--title takes one value"},
        WrongCase{"value_twice", {"run", "--title", "a", "--title", "b"}, "--title takes one value"},
        WrongCase{"one_value_of_two", {"run", "--pull", "octocat"}, "--pull takes 2 values"},
        WrongCase{
            "three_values_of_two", {"run", "--issue", "acme", "ENG-1", "--issue", "acme"}, "--issue takes 2 values"},
        WrongCase{"option_as_second_value", {"run", "--pull", "x", "--json"}, "--pull takes 2 values"},
        WrongCase{"missing_word", {"project", "rename", "x"}, "NAME is required"},
        WrongCase{"word_too_many", {"run", "two", "words"}, "\"words\" was not expected"},
        WrongCase{"no_words", {"project", "reorder"}, "PROJECT is required"},
        WrongCase{"unknown_type", {"agent", "add", "gpt"}, "TYPE takes one of ravant, codex"},
        WrongCase{"unknown_order",
                  {"linear", "issues", "acme", "--sort", "name"},
                  "--sort takes one of lastUpdated, created, priority, not \"name\""},
        WrongCase{"no_repository", {"github", "query", "--repo", "octo"}, "--repo takes a repository as"},
        WrongCase{"path_as_repository", {"github", "pull", "x", "octo/..", "1"}, "not \"octo/..\""},
        WrongCase{"two_slashes", {"github", "query", "--repo", "a/b/c"}, "not \"a/b/c\""},
        WrongCase{"terms_as_repository", {"github", "query", "--repo", "a/b is:open"}, "not \"a/b is:open"},
        WrongCase{"zero", {"conversation", "list", "--limit", "0"}, "--limit takes a number from 1"},
        WrongCase{"no_number", {"conversation", "show", "abcdef", "--last", "3x"}, "--last takes a number"},
        WrongCase{"too_large", {"conversation", "list", "--limit", "9999999999999999999"}, "takes a number"},
        WrongCase{"not_utf8", {"run", "\xC3("}, "not valid UTF-8"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(CommandLine, TakesOptionsAtEveryLevel) {
  const CommandLine line = parseCommandLine({"--data-dir", "/d", "project", "--json", "add", "--name=N", "/p"});
  EXPECT_EQ(fullName(line.group, line.command), "ravant project add");
  EXPECT_EQ(line.arguments.text("--data-dir"), "/d");
  EXPECT_EQ(line.arguments.text("--name"), "N");
  EXPECT_EQ(line.arguments.text("PATH"), "/p");
  EXPECT_TRUE(line.arguments.has("--json"));
}

TEST(CommandLine, TakesTwoValuesOfAnOption) {
  const std::vector<std::string> values = {"octocat", "octo/widgets#7"};
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"run", "--pull", "octocat", "octo/widgets#7", "prompt"},
        {"run", "prompt", "--pull=octocat", "octo/widgets#7"}}) {
    const Arguments arguments = parseCommandLine(words).arguments;
    EXPECT_EQ(arguments.list("--pull"), values);
    EXPECT_EQ(arguments.text("PROMPT"), "prompt");
  }
}

TEST(CommandLine, TakesWordsAsTheyAre) {
  EXPECT_EQ(parseCommandLine({"run", "doctor"}).arguments.text("PROMPT"), "doctor");
  EXPECT_EQ(parseCommandLine({"run", "-"}).arguments.text("PROMPT"), "-");
  EXPECT_EQ(parseCommandLine({"run", "--", "--help"}).arguments.text("PROMPT"), "--help");
  EXPECT_EQ(parseCommandLine({"run", "[a, b]"}).arguments.text("PROMPT"), "[a, b]");
  EXPECT_EQ(parseCommandLine({"run", "--title=", "prompt"}).arguments.text("--title"), "");
  EXPECT_EQ(parseCommandLine({"run", "--title=--json", "prompt"}).arguments.text("--title"), "--json");
  EXPECT_EQ(parseCommandLine({"run", "--title", "--x", "prompt"}).arguments.text("--title"), "--x");
  EXPECT_EQ(parseCommandLine({"run", "--title=[a,b]", "prompt"}).arguments.text("--title"), "[a,b]");
  EXPECT_THAT(parseCommandLine({"project", "reorder", "a", "add", "[b,c]"}).arguments.list("PROJECT"),
              ElementsAre("a", "add", "[b,c]"));
  EXPECT_THAT(parseCommandLine({"github", "pulls", "--repo", "a/b", "--repo=c/d", "me"}).arguments.list("--repo"),
              ElementsAre("a/b", "c/d"));
}

TEST(CommandLine, AnswersHelpWhateverElseIsWrong) {
  EXPECT_THAT(helpText(parseCommandLine({"--help"})), HasSubstr("conversation  What was said and done"));
  EXPECT_THAT(helpText(parseCommandLine({"agent", "-h"})), HasSubstr("  Change the program of an agent"));
  EXPECT_THAT(helpText(parseCommandLine({"agent", "add", "--help"})),
              HasSubstr("Usage: ravant agent add [--path PATH] TYPE"));
  EXPECT_EQ(parseCommandLine({"conversation", "show", "--version"}).request, CommandLine::Request::version);
}

}  // namespace
}  // namespace ravant::cli
