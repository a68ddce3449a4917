#include "platform/process/child_process.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <system_error>

#include "platform/process/descriptors.hpp"
#include "tests/support/descriptors.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class ChildProcessTest : public testing::Test {
 protected:
  std::unique_ptr<ChildProcess> launch(LaunchOptions options) {
    return ChildProcess::launch(std::move(options), loop_.get_executor());
  }
  std::unique_ptr<ChildProcess> launchScript(const std::string& script) {
    return launch({.executable = "/bin/sh", .arguments = {"-c", script}});
  }
  std::string outputOfScript(const std::string& script) {
    const auto child = launchScript(script);
    std::string output = run(outputOf(*child), loop_);
    run(child->endTree(), loop_);
    return output;
  }
  std::string launchError(LaunchOptions options) {
    try {
      launch(std::move(options));
    } catch (const std::system_error& error) {
      return error.what();
    }
    return "no error";
  }

  TemporaryFolder folder_;
  asio::io_context loop_;
};

TEST_F(ChildProcessTest, launchErrorsNameWhatIsAtFault) {
  const std::string file = folder_.write("file", "no program");
  const std::string missing = folder_ / "missing";
  EXPECT_EQ(launchError({.executable = missing}), missing + ": No such file or directory");
  EXPECT_EQ(launchError({.executable = file}), file + ": Permission denied");
  EXPECT_EQ(launchError({.executable = "/bin/sh", .workingDirectory = missing}),
            missing + ": No such file or directory");
  EXPECT_EQ(launchError({.executable = "/bin/sh", .workingDirectory = file}), file + ": Not a directory");
  EXPECT_EQ(launchError({.executable = "/bin/sh", .arguments = {std::string(200'000, 'x')}}),
            "/bin/sh: Argument list too long");
}

TEST_F(ChildProcessTest, tellsHowItExited) {
  const auto exited = launchScript("exit 3");
  EXPECT_EQ(run(exited->waitForExit(), loop_), (ExitStatus{ExitStatus::Reason::exit, 3}));
  EXPECT_FALSE(exited->isRunning());
  const auto killed = launchScript("kill -TERM $$");
  EXPECT_EQ(run(killed->waitForExit(), loop_), (ExitStatus{ExitStatus::Reason::signal, SIGTERM}));
  const auto running = launchScript("read line; exit 4");
  EXPECT_TRUE(running->isRunning());
  EXPECT_EQ(running->exitStatus(), std::nullopt);
  running->standardInput().close();
  EXPECT_EQ(run(running->waitForExit(), loop_)->code, 4);
  EXPECT_FALSE(isChild(running->pid()));
}

TEST_F(ChildProcessTest, hasItsStandardDescriptorsAlone) {
  const int first = ::open("/dev/null", O_RDONLY);
  const int second = ::fcntl(first, F_DUPFD, 100);
  const auto other = launchScript("read line");
  EXPECT_EQ(outputOfScript("cd /proc/self/fd && echo *"), "0 1 2 3\n") << "3 is the folder that the shell reads";
  ::close(first);
  ::close(second);
}

TEST_F(ChildProcessTest, hasTheDescriptorLimitThatTheProgramWasStartedWith) {
  const Forked program([&] {
    const DescriptorLimit limit(200);
    useAllDescriptors();
    rlimit own{};
    ::getrlimit(RLIMIT_NOFILE, &own);
    const auto child = launchScript("read x; ulimit -Sn");
    asio::write(child->standardInput(), asio::buffer("\n", 1));
    if (own.rlim_cur != own.rlim_max) throw std::runtime_error("the limit was not raised");
    if (run(outputOf(*child), loop_) != "200\n") throw std::runtime_error("another limit");
  });
  EXPECT_TRUE(program.succeeds());
}

TEST_F(ChildProcessTest, allAreEndedAtOnceAndNoMoreStarted) {
  const Forked program([&] {
    std::vector<std::unique_ptr<ChildProcess>> all;
    for (int i = 0; i < 3; ++i) all.push_back(launchScript("trap '' TERM; echo ready; while :; do read x; done"));
    std::string line(16, '\0');
    for (const auto& child : all) child->standardOutput().read_some(asio::buffer(line));
    const auto start = std::chrono::steady_clock::now();
    if (endAllChildren(Termination::atOnce) != TreeEnd::complete) throw std::runtime_error("survivors");
    if (std::chrono::steady_clock::now() - start > std::chrono::seconds(2)) throw std::runtime_error("slow");
    for (const auto& child : all) {
      if (child->isRunning()) throw std::runtime_error("one runs");
    }
    if (launchError({.executable = "/bin/true"}) == "no error") throw std::runtime_error("one more was started");
  });
  EXPECT_TRUE(program.succeeds());
}

TEST_F(ChildProcessTest, isStartedByAProgramWithoutStandardDescriptors) {
  const Forked program([&] {
    ::close(STDIN_FILENO);
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    const auto child = launchScript("cat; echo error >&2");
    asio::write(child->standardInput(), asio::buffer("text", 4));
    child->standardInput().close();
    if (run(outputOf(*child), loop_) != "text") throw std::runtime_error("wrong output");
  });
  EXPECT_TRUE(program.succeeds());
}

TEST_F(ChildProcessTest, leadsASessionWithDefaultSignals) {
  ::signal(SIGINT, SIG_IGN);
  sigset_t blocked;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  const auto child = launch({.executable = "/bin/grep", .arguments = {"-E", "Sig(Ign|Blk)", "/proc/self/status"}});
  EXPECT_EQ(::getsid(child->pid()), child->pid());
  // The C library keeps the signals 32 and 33 to itself.
  EXPECT_THAT(run(outputOf(*child), loop_), testing::MatchesRegex("SigBlk:\t0{16}\nSigIgn:\t0{7}[01][08]0{7}\n"));
  ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
  ::signal(SIGINT, SIG_DFL);
}

TEST_F(ChildProcessTest, getsTheEnvironmentAndFolderItIsGiven) {
  ::setenv("RAVANT_PROCESS", "outer", 1);
  ::setenv("KEPT", "kept", 1);
  ::setenv("REPLACED", "old", 1);
  const auto child = launch({.executable = "/bin/sh",
                             .arguments = {"-c", "echo $KEPT $REPLACED $ADDED; pwd; echo $RAVANT_PROCESS; cat"},
                             .workingDirectory = folder_.path(),
                             .environment = {{"REPLACED", "new"}, {"ADDED", "a=b"}},
                             .standardInput = StandardInput::nullDevice});
  ::unsetenv("RAVANT_PROCESS");
  EXPECT_THAT(run(outputOf(*child), loop_), AllOf(StartsWith("kept new a=b\n" + folder_.path().string() + "\nouter:"),
                                                  testing::SizeIs(testing::Gt(70))));
}

TEST_F(ChildProcessTest, writingToOneThatHasGoneIsAnError) {
  const auto child = launchScript("exit 0");
  run(child->waitForExit(), loop_);
  boost::system::error_code error;
  asio::write(child->standardInput(), asio::buffer("text", 4), error);
  EXPECT_EQ(error, boost::system::errc::broken_pipe);
}

TEST_F(ChildProcessTest, leavesNoDescriptorsAndZombies) {
  run(launchScript("exit 0")->waitForExit(), loop_);
  const auto before = openDescriptors();
  for (int i = 0; i < 50; ++i) {
    const auto child = launchScript(i % 2 == 0 ? "exit 0" : "exec sleep 1000");
    EXPECT_EQ(run(child->endTree(), loop_), TreeEnd::complete);
    EXPECT_FALSE(isChild(child->pid()));
    EXPECT_NE(launchError({.executable = folder_ / "missing"}), "no error");
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ChildProcessTest, itsDestructorKillsItsGroup) {
  auto child = launchScript("sleep 1000 & echo ready; wait");
  std::string line(16, '\0');
  child->standardOutput().read_some(asio::buffer(line));
  asio::posix::stream_descriptor output(loop_, ::dup(child->standardOutput().native_handle()));
  child.reset();
  boost::system::error_code error;
  asio::read(output, asio::buffer(line), error);
  EXPECT_EQ(error, asio::error::eof) << "nobody holds its output any more";
}

}  // namespace
}  // namespace ravant::test
