#include "platform/process/process_tree.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/write.hpp>
#include <chrono>
#include <fstream>
#include <sstream>

#include "platform/process/line_reader.hpp"
#include "tests/support/descriptors.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::Contains;
using testing::Each;
using testing::IsEmpty;
using testing::Not;

class ProcessTreeTest : public testing::Test {
 protected:
  void launch(const std::string& program, const std::vector<std::string>& arguments) {
    child_ = ChildProcess::launch({.executable = program, .arguments = arguments}, loop_.get_executor());
    output_ = std::make_unique<LineReader>(child_->standardOutput());
  }
  void launchScript(const std::string& script) { launch("/bin/sh", {"-c", script}); }
  std::string nextLine() { return run(output_->next(), loop_).value_or("end of output"); }

  std::chrono::steady_clock::duration timeToEnd() {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(run(child_->endTree(), loop_), TreeEnd::complete);
    return std::chrono::steady_clock::now() - start;
  }

  TemporaryFolder folder_;
  asio::io_context loop_;
  std::unique_ptr<ChildProcess> child_;
  std::unique_ptr<LineReader> output_;
};

struct Stubborn {
  std::string name;
  std::string script;  ///< prints the pids of all its processes
  int processes;
};

class ProcessTreeEndTest : public ProcessTreeTest, public testing::WithParamInterface<Stubborn> {};

TEST_P(ProcessTreeEndTest, leavesNothing) {
  launchScript(GetParam().script);
  std::vector<pid_t> pids;
  for (int i = 0; i < GetParam().processes; ++i) pids.push_back(std::stoi(nextLine()));
  EXPECT_THAT(pids, Each(testing::Truly(isAlive)));

  EXPECT_LT(timeToEnd(), 3s);
  // Also what was started while the tree was being ended.
  std::istringstream late(run(outputOf(*child_), loop_));
  for (pid_t pid = 0; late >> pid;) pids.push_back(pid);
  EXPECT_THAT(pids, Each(Not(testing::Truly(isAlive))));
  EXPECT_FALSE(isChild(child_->pid()));
}

constexpr const char* kSleeper = "sh -c 'echo $$; exec sleep 1000'";
const std::string kStoppedChild =
    "sh -c 'kill -STOP $$' & until grep -q '^State:.T' /proc/$!/status; do :; done; echo $!; ";
constexpr const char* kPythonWithoutMainThread =
    "python3 -c 'import ctypes, os, threading, time\n"
    "def stay():\n"
    "  while \") Z \" not in open(\"/proc/self/stat\").read(): time.sleep(0.001)\n"
    "  print(os.getpid(), flush=True)\n"
    "  time.sleep(1000)\n"
    "threading.Thread(target=stay).start()\n"
    "ctypes.CDLL(None).pthread_exit(None)'";

INSTANTIATE_TEST_SUITE_P(
    Trees, ProcessTreeEndTest,
    testing::Values(
        Stubborn{"ignoresTermination", "trap '' TERM; echo $$; sh -c 'echo $$; sleep 1000; sleep 1000'", 2},
        Stubborn{"catchesTermination", "trap 'echo $$' TERM; echo $$; while :; do sleep 0.1; done", 1},
        Stubborn{"ownSession", fmt::format("echo $$; setsid {} & wait", kSleeper), 2},
        Stubborn{"doubleForkedInOwnSession", fmt::format("(setsid {} &); echo $$; sleep 1000", kSleeper), 2},
        Stubborn{"doubleForkedBehindAnExitedRoot", fmt::format("(setsid {} &)", kSleeper), 1},
        Stubborn{"orphanWithoutEnvironment", fmt::format("(env -i {} &)", kSleeper), 1},
        Stubborn{"childOfAnOrphanWithoutEnvironment",
                 "(setsid sh -c 'echo $$; env -i setsid -w sh -c \"echo \\$\\$; exec sleep 1000\"; :' &)", 2},
        Stubborn{"stopped", kStoppedChild + "wait", 1},
        Stubborn{"allStopped", kStoppedChild + "echo $$; kill -STOP $$", 2},
        Stubborn{"startsMoreWhenAsked",
                 fmt::format("trap '(setsid sh -c \"trap : TERM; echo \\$\\$; while :; do sleep 1; done\" &)' TERM; "
                             "echo $$; while :; do sleep 0.1; done"),
                 1},
        Stubborn{"mainThreadEnded", kPythonWithoutMainThread, 1}),
    [](const auto& info) { return info.param.name; });

TEST_F(ProcessTreeTest, findsAProgramWhateverItsName) {
  const auto program = folder_ / "a) R 1 1 (b";
  std::filesystem::copy_file("/bin/sleep", program);
  launch("/bin/sh", {"-c", "env -i \"$0\" 1000 & echo $!; wait", program});
  const pid_t pid = std::stoi(nextLine());
  timeToEnd();
  EXPECT_FALSE(isAlive(pid));
}

TEST_F(ProcessTreeTest, aProgramThatAnswersIsGivenTime) {
  launchScript("trap 'sleep 0.3; echo saved; exit' TERM; echo ready; while :; do sleep 0.05; done");
  EXPECT_EQ(nextLine(), "ready");
  EXPECT_LT(timeToEnd(), 1400ms);
  EXPECT_EQ(nextLine(), "saved");
}

TEST_F(ProcessTreeTest, whatCannotAnswerIsNotWaitedFor) {
  for (const std::string& script : {"trap '' TERM; echo $$; read line"s, kStoppedChild + "read line"}) {
    launchScript(script);
    nextLine();
    EXPECT_LT(timeToEnd(), 1s);
  }
}

TEST_F(ProcessTreeTest, isEndedWithoutALoop) {
  launchScript(fmt::format("trap '' TERM; (setsid {} &); read line", kSleeper));
  const pid_t pid = std::stoi(nextLine());
  const auto root = processIdentity(child_->pid());
  EXPECT_EQ(endTreesBlocking({ProcessTree{root, ""}}), TreeEnd::complete);
  EXPECT_FALSE(isAlive(child_->pid()));
  EXPECT_TRUE(isAlive(pid)) << "in a session of its own, and its token was not asked for";
  timeToEnd();
  EXPECT_FALSE(isAlive(pid));
}

TEST_F(ProcessTreeTest, isEndedWithoutADescriptor) {
  launchScript(fmt::format("echo $$; (setsid {} &); sleep 1000", kSleeper));
  const std::vector<pid_t> pids = {std::stoi(nextLine()), std::stoi(nextLine())};
  {
    const DescriptorLimit limit(openDescriptors() + 20);
    const std::vector<UniqueFd> all = takeAllDescriptors();
    EXPECT_LT(timeToEnd(), 3s);
  }
  EXPECT_THAT(pids, Each(Not(testing::Truly(isAlive))));
}

TEST_F(ProcessTreeTest, whatCannotBeLookedAtIsNotGone) {
  const auto ledger = ProcessLedger::open(folder_ / "processes");
  child_ = ChildProcess::launch({.executable = "/bin/sh",
                                 .arguments = {"-c", fmt::format("trap '' TERM; (setsid {} &); read x", kSleeper)},
                                 .ledger = ledger},
                                loop_.get_executor());
  output_ = std::make_unique<LineReader>(child_->standardOutput());
  const pid_t detached = std::stoi(nextLine());
  const auto start = std::chrono::steady_clock::now();
  {
    const DescriptorLimit none(0);
    EXPECT_EQ(run(child_->endTree(), loop_), TreeEnd::survivorsLeft);
    EXPECT_THROW(liveProcesses({}), std::system_error);
    EXPECT_THROW(launchScript("true"), std::system_error);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
  EXPECT_FALSE(child_->isRunning()) << "its group is killed all the same";
  EXPECT_EQ(ledger->running(), 1u);
  EXPECT_TRUE(isAlive(detached));
  timeToEnd();
  EXPECT_FALSE(isAlive(detached));
  EXPECT_EQ(ledger->running(), 0u);
}

TEST_F(ProcessTreeTest, whatDetachedItselfInTimeIsLeft) {
  const std::string gate = folder_ / "gate";
  ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
  launchScript(
      fmt::format("(setsid sh -c 'echo $$; read x <{0}; sleep 1000 & echo $!; wait' &); "
                  "read x; {1} & setsid -w {1} & (setsid {1} &); wait",
                  gate, kSleeper));
  const pid_t left = std::stoi(nextLine());
  child_->leaveDetached();
  run(child_->newDetachedCanBeTold(), loop_);
  asio::write(child_->standardInput(), asio::buffer("\n", 1));
  const std::vector<pid_t> ended = {std::stoi(nextLine()), std::stoi(nextLine()), std::stoi(nextLine())};
  std::ofstream(gate) << "go on\n";
  const pid_t itsLateChild = std::stoi(nextLine());

  EXPECT_LT(timeToEnd(), 3s);
  EXPECT_THAT(ended, Each(Not(testing::Truly(isAlive))));
  EXPECT_TRUE(isAlive(left));
  EXPECT_TRUE(isAlive(itsLateChild));
  EXPECT_EQ(endTreesBlocking({ProcessTree{processIdentity(left), ""}}), TreeEnd::complete);
}

TEST_F(ProcessTreeTest, whatIsStartedRightBehindWhatIsLeftIsNotLeft) {
  // Until the shell between them has ended, it hangs on the tree.
  launchScript(fmt::format("while read x; do (setsid {0} &); echo 0; done", kSleeper));
  for (int i = 0; i < 10; ++i) {
    child_->leaveDetached();
    run(child_->newDetachedCanBeTold(), loop_);
    asio::write(child_->standardInput(), asio::buffer("\n", 1));
    const pid_t detached = std::max(std::stoi(nextLine()), std::stoi(nextLine()));
    EXPECT_EQ(run(child_->endDetached(), loop_), TreeEnd::complete);
    EXPECT_FALSE(isAlive(detached));
  }
  timeToEnd();
}

TEST_F(ProcessTreeTest, whatLosesItsParentWhileTheTreeIsEndedHasNotDetachedItself) {
  launchScript("setsid -w sh -c 'trap \"\" TERM; echo $$; while :; do sleep 1; done' & wait");
  const pid_t stubborn = std::stoi(nextLine());
  child_->leaveDetached();
  EXPECT_LT(timeToEnd(), 3s);
  EXPECT_FALSE(isAlive(stubborn));
}

TEST_F(ProcessTreeTest, whatDetachedItselfIsEndedAlone) {
  launchScript(fmt::format("(setsid {0} &); read x; {0} & setsid -w {0} & wait", kSleeper));
  const pid_t detached = std::stoi(nextLine());
  asio::write(child_->standardInput(), asio::buffer("\n", 1));
  const std::vector<pid_t> others = {child_->pid(), std::stoi(nextLine()), std::stoi(nextLine())};
  EXPECT_EQ(run(child_->endDetached(), loop_), TreeEnd::complete);
  EXPECT_FALSE(isAlive(detached));
  EXPECT_THAT(others, Each(testing::Truly(isAlive)));
  timeToEnd();
}

TEST_F(ProcessTreeTest, isNotThatOfAnotherProcessWithItsPid) {
  launchScript("sh -c 'echo $$; exec sleep 1000' & wait");
  nextLine();
  ProcessIdentity earlier = processIdentity(child_->pid()).value();
  earlier.startTime -= 1;
  EXPECT_THAT(liveProcesses({ProcessTree{earlier, ""}}), IsEmpty());
  timeToEnd();
}

TEST_F(ProcessTreeTest, neverHoldsThisProcess) {
  const auto parent = processIdentity(::getppid());
  ASSERT_TRUE(parent);
  const auto processes = liveProcesses({ProcessTree{parent, ""}});
  EXPECT_THAT(processes, Not(Contains(testing::Field(&ProcessIdentity::pid, ::getpid()))));
}

}  // namespace
}  // namespace ravant::test
