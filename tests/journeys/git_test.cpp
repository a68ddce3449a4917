#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/journeys/sandbox.hpp"

namespace ravant::test {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class GitCommands : public testing::Test {
 protected:
  GitCommands() {
    std::ofstream(sandbox.home() / ".gitconfig") << "[user]\nname=Tester\nemail=tester@example.com\n";
    git({"init", "-q", "-b", "main"});
    std::ofstream(sandbox.project() / "a.txt") << "one\n";
    git({"add", "-A"});
    git({"commit", "-q", "-m", "first"});
    std::ofstream(sandbox.project() / "a.txt") << "two\n";
    std::ofstream(sandbox.project() / "new\x1b.txt") << "new\n";
  }

  void git(std::vector<std::string> arguments) const {
    const ProgramResult result = tryGit(std::move(arguments));
    EXPECT_EQ(result.status, 0) << result.errors;
  }
  ProgramResult tryGit(std::vector<std::string> arguments) const {
    return Program({.path = "/usr/bin/git",
                    .arguments = std::move(arguments),
                    .environment = {{"HOME", sandbox.home()}, {"PATH", "/usr/bin:/bin"}},
                    .workingDirectory = sandbox.project()})
        .wait();
  }

  Sandbox sandbox;
};

TEST_F(GitCommands, showWhatDiffers) {
  EXPECT_EQ(sandbox.run({"git", "status"}).output,
            "On branch main\n\nChanges not staged for commit:\n\tmodified:   a.txt  (+1 -1)\n\nUntracked files:\n"
            "\t\"new\\033.txt\"\n");
  const json::value status = sandbox.json({"git", "status"});
  EXPECT_EQ(
      status.at("unstaged").at(0),
      parseJson(
          R"({"path":"a.txt","status":"modified","staged":false,"isBinary":false,"insertions":1,"deletions":1})"));
  EXPECT_EQ(sandbox.json({"git", "stat"}), parseJson(R"({"insertions":1,"deletions":1})"));
  EXPECT_EQ(sandbox.run({"git", "hunks", "a.txt"}).output, "Not staged\n@@ -1 +1 @@\n-one\n+two\n");
  EXPECT_EQ(sandbox.json({"git", "branches"}).at(0).at("lastCommitSummary"), "first");
  EXPECT_THAT(sandbox.run({"git", "hunks", "../outside"}).errors, HasSubstr("is not in"));
}

TEST_F(GitCommands, giveHooksNoKeys) {
  const std::filesystem::path hook = sandbox.project() / ".git/hooks/post-checkout";
  std::ofstream(hook) << "#!/bin/sh\necho \"keys: ${OPENROUTER_API_KEY-none} ${MISTRAL_API_KEY-none} $OTHER\" >&2\n";
  std::filesystem::permissions(hook, std::filesystem::perms::owner_all);
  sandbox.setVariable("OPENROUTER_API_KEY", "hush");
  sandbox.setVariable("MISTRAL_API_KEY", "hush");
  sandbox.setVariable("OTHER", "other");
  EXPECT_THAT(sandbox.run({"git", "checkout", "main"}).output, HasSubstr("keys: none none other\n"));
}

TEST_F(GitCommands, sayWhyAFileHasNoHunks) {
  const auto outcome = [&](const std::string& path) {
    const ProgramResult result = sandbox.run({"git", "hunks", path});
    return result.output + result.errors;
  };
  std::filesystem::create_directory(sandbox.project() / "folder");
  EXPECT_THAT(outcome("folder"), HasSubstr("folder is a folder\n"));
  EXPECT_THAT(outcome("gone"), HasSubstr("ravant: there is no "));
  EXPECT_EQ(sandbox.run({"git", "hunks", "gone", "--json"}).status, 1);
  EXPECT_THAT(outcome("../outside"), HasSubstr("is not in"));
  git({"add", "-A"});
  git({"commit", "-q", "-m", "second"});
  EXPECT_EQ(outcome("a.txt"), "a.txt does not differ\n");
  std::ofstream(sandbox.project() / "a.txt") << std::string(4, '\0');
  EXPECT_EQ(outcome("a.txt"), "a.txt is binary\n");
  std::ofstream(sandbox.project() / "caf\xe9") << "1\n";
  EXPECT_THAT(outcome("\"caf\\351\""), HasSubstr("+1\n")) << "as status shows it";
  EXPECT_EQ(sandbox.json({"git", "status"}).at("unstaged").at(1).at("path"), "\"caf\\351\"");
  std::ofstream(sandbox.project() / "exe\u202Etxt") << "1\n";
  EXPECT_THAT(sandbox.run({"git", "status", "--json"}).output, HasSubstr(R"("exe\u202etxt")"));
}

TEST_F(GitCommands, tellTheBranchWhereTheIndexCannotBeRead) {
  git({"update-index", "--split-index"});
  const ProgramResult result = sandbox.run({"git", "status"});
  EXPECT_EQ(result.output, "On branch main\n");
  EXPECT_THAT(result.errors, HasSubstr("git update-index --no-split-index"));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(sandbox.json({"git", "status"}).at("branch"), "main");
}

TEST_F(GitCommands, markHunksThatDoNotTellAll) {
  std::ofstream huge(sandbox.project() / "huge");
  for (int i = 0; i < 500'001; ++i) huge << "x\n";
  huge.close();
  EXPECT_THAT(sandbox.run({"git", "hunks", "huge"}).output,
              EndsWith("+x\n… more lines differ than the first 100000\n"));
  EXPECT_EQ(sandbox.json({"git", "hunks", "huge"}).at("unstagedExtent"), "cut");
}

TEST_F(GitCommands, tellAMergeThatIsNotFinished) {
  git({"commit", "-q", "-a", "-m", "ours"});
  git({"checkout", "-q", "-b", "other", "HEAD~1"});
  std::ofstream(sandbox.project() / "a.txt") << "three\n";
  git({"commit", "-q", "-a", "-m", "theirs"});
  tryGit({"merge", "-q", "main"});
  EXPECT_THAT(sandbox.run({"git", "status"}).output,
              testing::StartsWith("On branch other\nA merge is not finished\n\nUnmerged paths:\n"
                                  "\tunmerged:   a.txt  (+4 -0)\n"));
  const json::value status = sandbox.json({"git", "status"});
  EXPECT_EQ(status.at("operation"), "merge");
  EXPECT_EQ(status.at("unstaged").at(0).at("isConflicted"), true);
  git({"merge", "--abort"});
  git({"checkout", "-q", "--detach"});
  EXPECT_THAT(sandbox.run({"git", "status"}).output, testing::StartsWith("HEAD detached at "));
  EXPECT_EQ(sandbox.json({"git", "status"}).at("branch"), "HEAD");
}

TEST_F(GitCommands, changeBranchesInGitsWords) {
  EXPECT_THAT(sandbox.run({"git", "create-branch", "next"}).output, HasSubstr("Switched to a new branch 'next'"));
  const ProgramResult failed = sandbox.run({"git", "checkout", "none"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_THAT(failed.errors, HasSubstr("ravant: error: pathspec 'none' did not match"));
  EXPECT_THAT(sandbox.run({"git", "checkout", "a b"}).errors, HasSubstr("cannot be the name of a branch"));
  const std::string words = sandbox.run({"git", "pull"}).errors;
  EXPECT_THAT(words, AllOf(HasSubstr("no tracking information"), HasSubstr(" Please specify which branch")));
  EXPECT_EQ(std::ranges::count(words, '\n'), 1) << words;
}

TEST_F(GitCommands, sayWhyNothingCanBeRead) {
  std::filesystem::remove_all(sandbox.project() / ".git");
  const ProgramResult text = sandbox.run({"git", "status"});
  EXPECT_EQ(text.status, 1);
  EXPECT_THAT(text.output, IsEmpty());
  EXPECT_EQ(text.errors, "ravant: the folder is in no git repository\n");
  EXPECT_EQ(sandbox.json({"git", "status"}).at("unsupportedReason"), "the folder is in no git repository");
}

}  // namespace
}  // namespace ravant::test
