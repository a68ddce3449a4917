#include "git/git_command_runner.hpp"

#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>

#include "platform/async/executors.hpp"
#include "platform/files/private_file.hpp"
#include "tests/git/test_repository.hpp"
#include "tests/support/http_server.hpp"
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
    return std::make_shared<GitCommandRunner>(GitCommandOptions{
        .io = executors_.io(), .work = executors_.work(), .shellPath = std::move(shell), .timeout = timeout});
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

TEST_F(GitCommandRunnerTest, aFileIsNoBranchToChangeTo) {
  const TestRepository repository;
  repository.write("notes", "1\n");
  repository.write("docs/a", "1\n");
  repository.commit();
  repository.git({"branch", "docs"});
  repository.write("notes", "not stored yet\n");
  EXPECT_THAT(outcomeOf(runner->checkout("notes", repository.path())),
              HasSubstr("refused: \"notes\" is no local branch"));
  EXPECT_EQ(repository.read("notes"), "not stored yet\n");
  std::filesystem::remove(repository.path() / "notes");
  EXPECT_THAT(outcomeOf(runner->checkout("notes", repository.path())), HasSubstr("refused: "));
  EXPECT_EQ(repository.read("notes"), "(none)") << "it stays deleted";
  EXPECT_THAT(outcomeOf(runner->checkout("docs", repository.path())), HasSubstr("Switched to branch 'docs'"));
}

TEST_F(GitCommandRunnerTest, theEnvironmentSaysNothingOfOtherRepositoriesAndLetsNothingAsk) {
  ::setenv("GIT_DIR", "/other", 1);
  ::setenv("GIT_INDEX_FILE", "/other", 1);
  ::setenv("GIT_AUTHOR_NAME", "kept", 1);
  std::string output = "\n" + outcomeOf(makeRunner(writeShell("env"))->fetch("/"));
  for (const char* name : {"GIT_DIR", "GIT_INDEX_FILE", "GIT_AUTHOR_NAME"}) ::unsetenv(name);
  EXPECT_THAT(output, testing::Not(HasSubstr("/other")));
  for (const char* line : {"GIT_AUTHOR_NAME=kept", "GIT_TERMINAL_PROMPT=0", "GIT_ASKPASS=", "SSH_ASKPASS_REQUIRE=never",
                           "GIT_EDITOR=false", "GIT_SEQUENCE_EDITOR=false", "GIT_PAGER=cat"}) {
    EXPECT_THAT(output, HasSubstr(fmt::format("\n{}\n", line)));
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
  HttpServer server([](const HttpServer::Request&, HttpServer::Connection& connection) {
    connection.respond(401, {{"WWW-Authenticate", "Basic realm=\"x\""}});
  });
  const TemporaryFolder notes;
  const std::string asks = writeShell(fmt::format("touch {}/asked; sleep 1000", notes.path().string()));
  ::setenv("GIT_ASKPASS", asks.c_str(), 1);
  ::setenv("SSH_ASKPASS", asks.c_str(), 1);
  const TestRepository repository;
  repository.git({"config", "core.askPass", asks});
  repository.git({"config", "credential.helper", ""});
  repository.git({"remote", "add", "origin", server.url() + "/repository.git"});
  EXPECT_THAT(outcomeOf(runner->fetch(repository.path())),
              AllOf(HasSubstr("git fetch --prune exit 128: "), HasSubstr("could not read Username")));
  repository.git({"remote", "set-url", "origin", "ssh://nobody@127.0.0.1:1/none"});
  EXPECT_THAT(outcomeOf(runner->fetch(repository.path())), HasSubstr("git fetch --prune exit 128: "));
  EXPECT_FALSE(std::filesystem::exists(notes / "asked"));
  ::unsetenv("GIT_ASKPASS");
  ::unsetenv("SSH_ASKPASS");
}

/// Whether a process runs, which is no child of this one; what has ended has no command line left.
bool isThere(pid_t pid) { return !readFile(fmt::format("/proc/{}/cmdline", pid)).value_or("").empty(); }

TEST_F(GitCommandRunnerTest, whatGitLeavesInTheBackgroundGoesOnUnlessTheCommandIsEnded) {
  const TemporaryFolder notes;
  const std::string leaves = fmt::format("sleep 1000 >/dev/null 2>&1 & echo $! >{}/pid", notes.path().string());
  const auto pid = [&] { return std::stoi(readFile(notes / "pid").value()); };
  EXPECT_EQ(outcomeOf(makeRunner(writeShell(leaves))->fetch("/")), "done: ");
  EXPECT_TRUE(isThere(pid()));
  ::kill(pid(), SIGKILL);
  EXPECT_THAT(outcomeOf(makeRunner(writeShell(leaves + "; sleep 1000"), 1s)->fetch("/")), HasSubstr("exit 124"));
  EXPECT_FALSE(isThere(pid()));
}

TEST_F(GitCommandRunnerTest, whatIsTooLongToKeepIsCut) {
  const std::string output = outcomeOf(makeRunner(writeShell("yes | head -c 3000000"))->fetch("/"));
  EXPECT_LT(output.size(), 1'100'000U);
  EXPECT_THAT(output.substr(output.size() - 60), HasSubstr("y\n(the rest of the output was dropped)\n"));
}

TEST_F(GitCommandRunnerTest, theShellsOfUsersRunIt) {
  const TestRepository repository;
  repository.commit();
  for (const char* shell : {"/bin/bash", "/bin/sh", "/usr/bin/zsh", "/usr/bin/fish"}) {
    const std::string name = "it's-$HOME-by-" + std::filesystem::path(shell).filename().string();
    EXPECT_THAT(outcomeOf(makeRunner(shell)->createBranch(name, repository.path())), HasSubstr("done: ")) << shell;
    EXPECT_EQ(repository.git({"branch", "--show-current"}), name + "\n");
  }
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
