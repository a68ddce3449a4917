#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/integrations/github/simulated_github.hpp"
#include "tests/integrations/linear/simulated_linear.hpp"
#include "tests/journeys/sandbox.hpp"
#include "tests/support/pseudo_terminal.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class WorkItems : public testing::Test {
 protected:
  WorkItems() {
    sandbox.setVariable("RAVANT_GITHUB_URL", github.url());
    sandbox.setVariable("RAVANT_LINEAR_URL", linear.url());
    sandbox.keepKeysInFile();
    sandbox.addAgent(claude_says::begin() + claude_says::text("Done.") + claude_says::end());
    succeed({"github", "add", "github.com", "octocat", "--token-stdin"}, std::string(SimulatedGithub::kToken));
  }

  ProgramResult succeed(std::vector<std::string> arguments, std::string input = {}) const {
    ProgramResult result = sandbox.run(std::move(arguments), std::move(input));
    EXPECT_EQ(result.status, 0) << result.errors;
    return result;
  }

  /// The first entry of the latest conversation.
  std::string latestPrompt() const {
    const json::value listed = sandbox.json({"conversation", "list", "--limit", "1"});
    const std::string id(listed.at(0).at("id").as_string());
    return std::string(sandbox.json({"conversation", "show", id}).at("items").at(0).at("text").as_string());
  }

  void git(std::vector<std::string> arguments, const std::filesystem::path& folder) const {
    const ProgramResult result = Program({.path = "/usr/bin/git",
                                          .arguments = std::move(arguments),
                                          .environment = {{"HOME", sandbox.home()}, {"PATH", "/usr/bin:/bin"}},
                                          .workingDirectory = folder})
                                     .wait();
    EXPECT_EQ(result.status, 0) << result.errors;
  }

  SimulatedGithub github;
  SimulatedLinear linear;
  Sandbox sandbox;
};

TEST_F(WorkItems, aConversationBeginsWithAPullRequestAndKeepsItsName) {
  github.addPull(
      {.repository = "octo/tools", .title = "Sharper tools for every workshop", .body = "Please\n~~~~~~~~\nstop."});
  succeed({"run", "--agent", "claude", "--pull", "octocat", "octo/tools#1", "Review it."});
  const std::string prompt = latestPrompt();
  const std::string fence = prompt.substr(prompt.find('~'), prompt.find('"', prompt.find('~')) - prompt.find('~'));
  EXPECT_THAT(prompt, AllOf(StartsWith("What stands between the two lines \"" + fence +
                                       "\" is quoted from the GitHub pull request octo/tools#1."),
                            EndsWith("\n" + fence +
                                     "\nTitle: Sharper tools for every workshop\n"
                                     "Link: https://github.com/octo/tools/pull/1\n\n"
                                     "Please\n~~~~~~~~\nstop.\n" +
                                     fence + "\n\nReview it.")));
  EXPECT_THAT(sandbox.agentArguments(), HasSubstr("Review it."));

  const std::size_t asked = github.requests().size();
  succeed({"run", "--pull", "octocat@github.com", "octo/tools#1", "--title", "Mine"}, "And again.\n");
  EXPECT_EQ(github.requests().size(), asked) << "what is stored is not asked for again";
  EXPECT_THAT(latestPrompt(), AllOf(EndsWith("\n\nAnd again."), Not(HasSubstr(fence))));

  github.addPull({.repository = "octo/tools", .title = " "});
  github.renameRepository("octo/tools", "octo/instruments");
  succeed({"run", "--pull", "octocat", "octo/tools#2", "Review it."});
  const json::value renamed = sandbox.json({"conversation", "list", "--limit", "1"}).at(0);
  EXPECT_EQ(renamed.at("workItem").at("name"), "octo/instruments#2");
  EXPECT_EQ(renamed.at("title"), "octo/instruments#2") << "it has no title of its own";

  succeed({"github", "remove", "octocat", "--yes"});
  const json::value listed = sandbox.json({"conversation", "list"});
  ASSERT_THAT(listed.as_array(), SizeIs(3));
  EXPECT_EQ(listed.at(1).at("title"), "Mine");
  EXPECT_EQ(listed.at(2).at("title"), "Sharper tools for every workshop");
  const auto item =
      parseJson(R"({"kind":"githubPull","name":"octo/tools#1","url":"https://github.com/octo/tools/pull/1"})");
  EXPECT_EQ(listed.at(1).at("workItem"), item);
  EXPECT_EQ(listed.at(2).at("workItem"), item);
  EXPECT_THAT(sandbox.run({"conversation", "list"}).output,
              AllOf(HasSubstr("  (1 unread) octo/instruments#2\n"),
                    HasSubstr("  (1 unread) octo/tools#1 · Sharper tools for every workshop\n")));
  EXPECT_THAT(screenOf(sandbox.start({"conversation", "list"}, {}, ProgramOutput::terminal).wait().output),
              HasSubstr("  (1 unread) octo/tools#1 · "))
      << "on 80 columns";
  EXPECT_THAT(sandbox.run({"conversation", "show", std::string(listed.at(2).at("id").as_string())}).output,
              HasSubstr("octo/tools#1 · https://github.com/octo/tools/pull/1\n"));
}

TEST_F(WorkItems, aConversationBeginsWithAnIssueThatIsSyncedForIt) {
  linear.change([](LinearWorkspace& workspace) { workspace.issues = {}; });
  succeed({"linear", "add", "--key-stdin"}, std::string(SimulatedLinear::kKey));
  linear.change([](LinearWorkspace& workspace) {
    workspace.issues = {linearIssue(7, {{"title", "Broken"}, {"description", "It fails."}})};
  });
  succeed({"run", "--agent", "claude", "--issue", "acme", "eng-7", "Mend it."});
  EXPECT_THAT(latestPrompt(), AllOf(HasSubstr("quoted from the Linear issue ENG-7."), HasSubstr("\nTitle: Broken\n"),
                                    HasSubstr("\n\nIt fails.\n~~~~~~~~ "), EndsWith("\n\nMend it.")));
  const json::value listed = sandbox.json({"conversation", "list"});
  EXPECT_EQ(listed.at(0).at("workItem").at("name"), "ENG-7");
  EXPECT_EQ(listed.at(0).at("title"), "Broken");
  EXPECT_THAT(sandbox.run({"run", "--issue", "acme", "ENG-8", "Mend it."}).errors,
              EndsWith("ENG-8 is no unfinished issue that is assigned to ada@example.com in acme\n"));

  linear.change([](LinearWorkspace& workspace) {
    workspace.issues = {linearIssue(7, {{"title", "Smashed"}}), linearIssue(8, {{"createdAt", "soon"}})};
  });
  EXPECT_THAT(succeed({"run", "--issue", "acme", "ENG-7", "Mend it."}).errors,
              HasSubstr("1 of Linear's issues could not be read"));
  EXPECT_THAT(latestPrompt(), HasSubstr("\nTitle: Smashed\n"));
  EXPECT_THAT(sandbox.run({"run", "--issue", "acme", "ENG-8", "Mend it."}).errors,
              EndsWith(" in acme; 1 of Linear's issues could not be read, and stay as they are stored\n"));

  linear.revoke();
  EXPECT_THAT(succeed({"run", "--issue", "acme", "ENG-7", "Mend it."}).errors,
              HasSubstr("ravant: ENG-7 is quoted as it was stored, because it could not be asked for: "));
  EXPECT_THAT(latestPrompt(), HasSubstr("\nTitle: Smashed\n"));
  const ProgramResult unknown = sandbox.run({"run", "--issue", "acme", "ENG-8", "Mend it."});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_THAT(unknown.errors, AllOf(HasSubstr("API key"), Not(HasSubstr("ENG-8"))));
}

TEST_F(WorkItems, whatCannotBeHadBeginsNothing) {
  for (const auto& [word, error] : std::map<std::string, std::string>{
           {"octo/tools#99", "ravant: octo/tools#99 is no pull request that octocat can see at github.com\n"},
           {"octo/gone#1", "ravant: octo/gone#1 is no pull request that octocat can see at github.com\n"}}) {
    const ProgramResult result = sandbox.run({"run", "--pull", "octocat", word, "Review it."});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, error);
  }
  EXPECT_THAT(sandbox.run({"run", "--pull", "nobody", "octo/tools#1", "x"}).errors, HasSubstr("there is no account"));
  EXPECT_THAT(sandbox.json({"conversation", "list"}).as_array(), IsEmpty());
  EXPECT_THAT(sandbox.json({"project", "list"}).as_array(), IsEmpty());

  const std::vector<std::string> pull = {"run", "--pull", "octocat", "octo/tools#1", "x"};
  for (const std::vector<std::string>& more :
       {std::vector<std::string>{"--continue"}, {"--conversation", "abcdef"}, {"--issue", "acme", "ENG-1"}}) {
    std::vector<std::string> words = pull;
    words.insert(words.end(), more.begin(), more.end());
    const ProgramResult result = sandbox.run(words);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.errors, HasSubstr("exclude"));
  }
  EXPECT_EQ(sandbox.run({"run", "--pull", "octocat", "octo/tools", "x"}).errors,
            "ravant: --pull takes a pull request as OWNER/NAME#NUMBER, not \"octo/tools\"\n");
  EXPECT_EQ(sandbox.run({"run", "--issue", "acme", " ", "x"}).status, 2);
}

TEST_F(WorkItems, aPullRequestIsCheckedOutWhereTheWorkingCopyIsClean) {
  const std::filesystem::path origin = sandbox.home() / "hub/octo/tools.git";
  std::filesystem::create_directories(origin);
  std::ofstream(sandbox.home() / ".gitconfig")
      << "[user]\nname=Tester\nemail=tester@example.com\n[init]\ndefaultBranch=main\n[url \""
      << (sandbox.home() / "hub/").string() << "\"]\ninsteadOf=https://github.com/\n";
  git({"init", "-q"}, origin);
  git({"commit", "-q", "--allow-empty", "-m", "base"}, origin);
  git({"clone", "-q", "https://github.com/octo/tools.git", "."}, sandbox.project());
  std::ofstream(origin / "new.txt") << "new\n";
  git({"add", "new.txt"}, origin);
  git({"commit", "-q", "-m", "proposed"}, origin);
  git({"update-ref", "refs/pull/7/head", "HEAD"}, origin);
  std::filesystem::create_directory(sandbox.project() / "below");
  std::ofstream(sandbox.project() / "below/kept.txt") << "\n";
  git({"add", "below"}, sandbox.project());
  git({"commit", "-q", "-m", "a folder"}, sandbox.project());
  succeed({"project", "add", sandbox.project() / "below"});
  sandbox.enter(sandbox.project() / "below");
  const std::vector<std::string> checkout = {"github", "checkout", "octocat", "Octo/Tools", "7"};

  std::ofstream(sandbox.project() / "mine.txt") << "not git's\n";
  std::ofstream(sandbox.project() / "staged.txt") << "staged\n";
  git({"add", "staged.txt"}, sandbox.project());
  const ProgramResult refused = sandbox.run(checkout);
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.errors, AllOf(HasSubstr("that are not committed (staged.txt); commit or stash them first\n")));
  git({"rm", "-q", "-f", "staged.txt"}, sandbox.project());
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"checkout", "-q", "-b", "side"},
                                                    {"commit", "-q", "--allow-empty", "-m", "beside"},
                                                    {"checkout", "-q", "main"},
                                                    {"merge", "-q", "-s", "ours", "--no-ff", "--no-commit", "side"}}) {
    git(arguments, sandbox.project());
  }
  EXPECT_THAT(sandbox.run(checkout).errors, HasSubstr("a merge was begun in"));
  git({"merge", "--abort"}, sandbox.project());

  EXPECT_THAT(succeed(checkout).output,
              EndsWith(fmt::format("{0} is on pull/7, fetched from origin\n"
                                   "The project's folder {0}/below is not in it, and is gone\n",
                                   sandbox.project().string())));
  EXPECT_TRUE(std::filesystem::exists(sandbox.project() / "new.txt"));
  EXPECT_TRUE(std::filesystem::exists(sandbox.project() / "mine.txt"));

  sandbox.enter(sandbox.project());
  git({"commit", "-q", "--allow-empty", "-m", "mine"}, sandbox.project());
  std::vector<std::string> inProject = checkout;
  inProject.insert(inProject.end(), {"--project", "below"});
  EXPECT_THAT(succeed(inProject).output,
              HasSubstr("\n1 of its commits is not in the pull request: yours, or withdrawn by its author\n"));
  EXPECT_EQ(sandbox.json(inProject).at("ahead"), 1);

  EXPECT_THAT(sandbox.run({"github", "checkout", "octocat", "octo/other", "7", "--project", "below"}).errors,
              HasSubstr("no remote of the project below is octo/other at github.com (it has origin); add it with: "
                        "git remote add NAME https://github.com/octo/other\n"));
}

}  // namespace
}  // namespace ravant::test
