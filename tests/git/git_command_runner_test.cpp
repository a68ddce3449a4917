#include "git/git_command_runner.hpp"

#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>

#include "platform/async/executors.hpp"
#include "tests/git/test_repository.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class GitCommandRunnerTest : public testing::Test {
 protected:
  GitCommandRunnerTest() {
    ::setenv("HOME", home_.path().c_str(), 1);
    runner = makeRunner("/bin/bash");
  }

  std::shared_ptr<GitCommandRunner> makeRunner(std::string shell, std::chrono::seconds timeout = 120s) {
    return std::make_shared<GitCommandRunner>(
        GitCommandOptions{.io = executors_.io(), .shellPath = std::move(shell), .timeout = timeout});
  }

  /// "done: " and what git printed, or the kind of the failure and its words.
  static std::string outcomeOf(awaitable<std::string> command) {
    try {
      return "done: " + run(std::move(command));
    } catch (const GitCommandError& error) {
      return fmt::format("{} exit {}: {}", error.command(), error.status(), error.what());
    } catch (const BranchNameError& error) {
      return std::string("refused: ") + error.what();
    }
  }

  /// A program that stands for the user's shell.
  std::string writeShell(std::string_view body) {
    const auto path = home_.write("shell", fmt::format("#!/bin/sh\n{}\n", body));
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }

 private:
  TemporaryFolder home_;
  Executors executors_;

 protected:
  std::shared_ptr<GitCommandRunner> runner;
};

TEST_F(GitCommandRunnerTest, branchesAreMadeChangedToAndDeleted) {
  const TestRepository repository;
  repository.commit();
  EXPECT_EQ(outcomeOf(runner->createBranch("o'brien $HOME", repository.path())),
            "refused: \"o'brien $HOME\" cannot be the name of a branch");
  EXPECT_EQ(outcomeOf(runner->createBranch("o'brien", repository.path())),
            "done: Switched to a new branch 'o'brien'\n");
  EXPECT_EQ(outcomeOf(runner->checkout("main", repository.path())), "done: Switched to branch 'main'\n");
  EXPECT_THAT(outcomeOf(runner->deleteBranch("o'brien", repository.path())), HasSubstr("done: Deleted branch o'brien"));
  EXPECT_THAT(outcomeOf(runner->checkout("gone", repository.path())),
              AllOf(HasSubstr("git checkout 'gone' exit 1: "), HasSubstr("did not match any file")));
}

TEST_F(GitCommandRunnerTest, whatIsNoBranchNeverReachesGit) {
  const auto none = makeRunner("/no/such/shell");
  for (const std::string name :
       {"", "-x", "--upload-pack=x", "a b", "a..b", "a~1", "a\nb", "HEAD", "x.lock", "/x", "@{-1}"}) {
    EXPECT_THAT(outcomeOf(none->checkout(name, "/")), HasSubstr("refused: ")) << name;
  }
}

TEST_F(GitCommandRunnerTest, pullsAndFetchesWithoutMerging) {
  const TestRepository origin;
  origin.commit("one");
  const TestRepository clone;
  clone.git({"remote", "add", "origin", origin.path()});
  EXPECT_THAT(outcomeOf(runner->fetch(clone.path())), HasSubstr("done: "));
  clone.git({"checkout", "-q", "-b", "main", "origin/main"});
  origin.write("a", "1\n");
  origin.commit("two");
  EXPECT_THAT(outcomeOf(runner->pull(clone.path())), HasSubstr("Fast-forward"));
  EXPECT_EQ(clone.read("a"), "1\n");
  origin.commit("three");
  clone.commit("another three");
  EXPECT_THAT(outcomeOf(runner->pull(clone.path())), HasSubstr("Not possible to fast-forward"));
}

TEST_F(GitCommandRunnerTest, gitAsksNothing) {
  const TestRepository repository;
  repository.git({"config", "credential.helper", ""});
  repository.git({"remote", "add", "origin", "ssh://nobody@127.0.0.1:1/none"});
  EXPECT_THAT(outcomeOf(runner->fetch(repository.path())), HasSubstr("git fetch --prune exit 128: "));
}

TEST_F(GitCommandRunnerTest, theShellIsGivenTheCommandAndItsStatusComesBack) {
  const auto silent = makeRunner(writeShell("[ \"$1 $2\" = '-l -c' ] && [ \"$3\" = \"git checkout 'x'\" ] && exit 1"));
  EXPECT_EQ(outcomeOf(silent->checkout("x", "/")), "git checkout 'x' exit 1: git checkout 'x' failed with exit 1");
  const auto hangs = makeRunner(writeShell("echo waiting; sleep 1000"), 1s);
  EXPECT_EQ(outcomeOf(hangs->fetch("/")), "git fetch --prune exit 124: waiting\ngit fetch --prune was ended after 1 s");
}

TEST_F(GitCommandRunnerTest, commandsRunOneAfterAnotherAndEndWithTheRunner) {
  using namespace asio::experimental::awaitable_operators;
  const TemporaryFolder notes;
  const auto inTurn = makeRunner(writeShell(fmt::format(
      "[ ! -e {0}/busy ] || echo both at once; touch {0}/busy; sleep 0.1; rm {0}/busy", notes.path().string())));
  EXPECT_EQ(run(inTurn->fetch("/") && inTurn->pull("/")), std::make_tuple("", ""));

  const auto hangs = makeRunner(writeShell("touch begun; sleep 1000"));
  const auto shutDown = [&]() -> awaitable<void> {
    asio::steady_timer pause(co_await asio::this_coro::executor);
    while (!std::filesystem::exists(notes / "begun")) {
      pause.expires_after(5ms);
      co_await pause.async_wait(use_awaitable);
    }
    co_await hangs->shutdown();
  };
  const auto outcome = [&]() -> awaitable<std::string> {
    try {
      co_return co_await hangs->fetch(notes.path());
    } catch (const GitCommandError&) {
      co_return "ended";
    }
  };
  EXPECT_EQ(run(outcome() && shutDown()), "ended");
  EXPECT_THAT(outcomeOf(hangs->pull("/")), HasSubstr("the program ends"));
}

}  // namespace
}  // namespace ravant::test
