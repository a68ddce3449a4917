#include <fmt/format.h>
#include <gmock/gmock.h>

#include "git/git_command_runner.hpp"
#include "platform/async/executors.hpp"
#include "tests/git/status_reader_test.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// A repository with a pull request, 7, and a clone of it.
class FetchedBranchTest : public testing::Test {
 protected:
  FetchedBranchTest() {
    ::setenv("HOME", home_.path().c_str(), 1);
    origin.write("a", "1\n");
    origin.commit("base");
    clone.git({"remote", "add", "origin", origin.path()});
    clone.git({"pull", "-q", "origin", "main"});
    propose("first", "2\n");
  }

  /// Makes it the head of the pull request: one commit more, or after `reset` another history.
  void propose(const std::string& message, std::string_view contents) const {
    origin.git({"checkout", "-q", "-B", "topic"});
    origin.write("a", contents);
    origin.commit(message);
    origin.git({"update-ref", "refs/pull/7/head", "topic"});
    origin.git({"checkout", "-q", "main"});
    origin.git({"branch", "-q", "-D", "topic"});
  }

  std::string checkOut() { return checkOutIn(clone); }

  std::string checkOutIn(const TestRepository& repository) {
    const auto runner = std::make_shared<GitCommandRunner>(
        GitCommandOptions{.io = executors_.io(), .work = executors_.work(), .shellPath = "/bin/bash"});
    try {
      const CheckedOutBranch done = run(runner->checkoutFetched(
          {.remote = "origin", .reference = "refs/pull/7/head", .branch = "pull/7"}, repository.path()));
      return fmt::format("done, {} ahead: {}", done.ahead, done.output);
    } catch (const BranchInTheWayError& error) {
      return std::string("in the way: ") + error.what();
    } catch (const GitCommandError& error) {
      return std::string("git: ") + error.what();
    }
  }

  /// The branch that is checked out and the subject of its latest commit.
  std::string head() const { return headOf(clone); }

  static std::string headOf(const TestRepository& repository) {
    return repository.git({"branch", "--show-current"}) + repository.git({"log", "-1", "--format=%s"});
  }

  const TestRepository origin;
  const TestRepository clone;

 private:
  TemporaryFolder home_;
  Executors executors_;
};

TEST_F(FetchedBranchTest, isMadeAndGoesOn) {
  EXPECT_THAT(checkOut(), AllOf(HasSubstr("done, 0 ahead: "), HasSubstr("refs/pull/7/head"), HasSubstr("'pull/7'")));
  EXPECT_EQ(head(), "pull/7\nfirst\n");
  EXPECT_EQ(clone.read("a"), "2\n");
  EXPECT_THAT(checkOut(), HasSubstr("done, 0 ahead: "));

  origin.git({"reset", "-q", "--hard", "refs/pull/7/head"});
  propose("second", "3\n");
  EXPECT_THAT(checkOut(), HasSubstr("done, 0 ahead: ")) << "while it is checked out";
  EXPECT_EQ(head(), "pull/7\nsecond\n");
  EXPECT_EQ(clone.read("a"), "3\n");

  clone.git({"checkout", "-q", "main"});
  origin.git({"reset", "-q", "--hard", "refs/pull/7/head"});
  propose("third", "4\n");
  EXPECT_THAT(checkOut(), HasSubstr("done, 0 ahead: ")) << "while another is checked out";
  EXPECT_EQ(head(), "pull/7\nthird\n");
}

TEST_F(FetchedBranchTest, losesNoCommit) {
  checkOut();
  clone.commit("mine");
  clone.git({"checkout", "-q", "main"});
  EXPECT_THAT(checkOut(), HasSubstr("done, 1 ahead: "));
  EXPECT_EQ(head(), "pull/7\nmine\n") << "on top of what was fetched";

  propose("written anew", "5\n");
  for (const char* present : {"pull/7", "main"}) {
    clone.git({"checkout", "-q", present});
    const std::string before = head();
    EXPECT_THAT(checkOut(), HasSubstr("in the way: the local branch pull/7 has commits that would be lost"));
    EXPECT_EQ(head(), before);
    EXPECT_EQ(clone.git({"log", "-1", "--format=%s", "pull/7"}), "mine\n");
  }
}

TEST_F(FetchedBranchTest, isNotMadeBesideABranchThatGitCannotHaveWithIt) {
  for (const char* other : {"pull", "pull/7/more"}) {
    clone.git({"checkout", "-q", "-B", other, "main"});
    EXPECT_THAT(checkOut(),
                HasSubstr(fmt::format("in the way: git can make no branch pull/7 beside the local branch {}:", other)));
    EXPECT_EQ(clone.read("a"), "1\n");
    clone.git({"checkout", "-q", "main"});
    clone.git({"branch", "-q", "-D", other});
  }
}

TEST_F(FetchedBranchTest, goesOnInAShallowClone) {
  origin.commit("newest");
  propose("first", "2\n");
  const TestRepository shallow;
  shallow.git({"remote", "add", "origin", "file://" + origin.path().string()});
  shallow.git({"fetch", "-q", "--depth", "1", "origin", "main"});
  shallow.git({"checkout", "-q", "-B", "main", "FETCH_HEAD"});
  EXPECT_THAT(checkOutIn(shallow), HasSubstr("done, 0 ahead: "));
  origin.git({"reset", "-q", "--hard", "refs/pull/7/head"});
  propose("second", "3\n");
  EXPECT_THAT(checkOutIn(shallow), HasSubstr("done, 0 ahead: "));
  EXPECT_EQ(headOf(shallow), "pull/7\nsecond\n");
  propose("written anew", "5\n");
  EXPECT_THAT(checkOutIn(shallow), HasSubstr("in the way: the local branch pull/7 has commits that would be lost"));
}

TEST_F(FetchedBranchTest, runsNoHookThatItBrings) {
  clone.git({"config", "core.hooksPath", "hooks"});
  for (const char* hook : {"hooks/post-checkout", "hooks/reference-transaction"}) {
    origin.write(hook, "#!/bin/sh\ntouch ran\n");
    std::filesystem::permissions(origin.path() / hook, std::filesystem::perms::owner_all);
  }
  propose("with hooks", "3\n");
  EXPECT_THAT(checkOut(), HasSubstr("done, 0 ahead: "));
  EXPECT_EQ(clone.read("hooks/post-checkout"), "#!/bin/sh\ntouch ran\n");
  EXPECT_EQ(clone.read("ran"), "(none)");
}

TEST_F(FetchedBranchTest, leavesTheFolderAloneWhereItCannotBeCheckedOut) {
  clone.git({"checkout", "-q", "--orphan", "without"});
  clone.git({"rm", "-q", "-rf", "."});
  clone.write("b", "\n");
  clone.git({"add", "b"});
  clone.commit("other");
  clone.write("a", "not stored\n");
  EXPECT_THAT(checkOut(), AllOf(HasSubstr("git: "), HasSubstr("untracked working tree files would be overwritten")));
  EXPECT_EQ(clone.read("a"), "not stored\n");
  EXPECT_EQ(head(), "without\nother\n");
  EXPECT_EQ(clone.git({"branch", "--list", "pull/7"}), "") << "no branch is left behind";

  clone.git({"config", "core.excludesFile", (clone.path() / "ignored").string()});
  clone.write("ignored", "a\nignored\n");
  for (const bool isThere : {false, true}) {
    if (isThere) clone.git({"branch", "-q", "pull/7", "FETCH_HEAD"});
    EXPECT_THAT(checkOut(), AllOf(HasSubstr("git: "), HasSubstr("untracked working tree files would be overwritten")));
    EXPECT_EQ(clone.read("a"), "not stored\n") << "though git ignores it";
  }
  std::filesystem::remove(clone.path() / "a");

  checkOut();
  clone.git({"checkout", "-q", "without"});
  clone.git({"worktree", "add", "-q", (clone.path().parent_path() / "elsewhere").string(), "pull/7"});
  origin.git({"reset", "-q", "--hard", "refs/pull/7/head"});
  propose("second", "3\n");
  EXPECT_THAT(checkOut(), HasSubstr("in the way: the local branch pull/7 is checked out in another working copy"));
  EXPECT_EQ(clone.git({"log", "-1", "--format=%s", "pull/7"}), "first\n");

  origin.git({"update-ref", "-d", "refs/pull/7/head"});
  EXPECT_THAT(checkOut(), AllOf(HasSubstr("git: "), HasSubstr("couldn't find remote ref refs/pull/7/head")));
}

class RemotesTest : public StatusReaderTest {};

TEST_F(RemotesTest, areReadAsTheyAreWrittenAndRewritten) {
  const TestRepository repository;
  repository.git({"remote", "add", "origin", "gh:octo/widgets"});
  repository.git({"remote", "add", "o.ther/x", "https://host.example/a/b.git"});
  repository.git({"config", "--add", "remote.origin.url", "https://host.example/mirror"});
  repository.git({"config", "url.git@github.com:.insteadOf", "gh:"});
  repository.git({"config", "remote.-x.url", "https://host.example/c"});
  repository.git({"config", "remote.pushDefault", "origin"});
  const auto reading = run(reader->remotes(repository.path()));
  EXPECT_EQ(reading.unsupportedReason, std::nullopt);
  EXPECT_THAT(reading.value,
              testing::ElementsAre(
                  GitRemote{.name = "origin", .url = "gh:octo/widgets", .rewrittenUrl = "git@github.com:octo/widgets"},
                  GitRemote{.name = "o.ther/x",
                            .url = "https://host.example/a/b.git",
                            .rewrittenUrl = "https://host.example/a/b.git"}));
  EXPECT_NE(run(reader->remotes("/")).unsupportedReason, std::nullopt);
}

}  // namespace
}  // namespace ravant::test
