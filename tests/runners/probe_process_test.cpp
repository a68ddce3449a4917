#include "runners/probe_process.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class ProbeProcessTest : public testing::Test {
 protected:
  std::string probe(const std::string& script, ProbeOptions options = {}) {
    return run(ProbeProcess::run("/bin/sh", {"-c", script}, "models", std::move(options)));
  }

  void expectError(const std::string& script, ProbeOptions options, ProbeError::Case kind, const std::string& text) {
    const auto start = Clock::now();
    try {
      probe(script, std::move(options));
      ADD_FAILURE() << "no error";
    } catch (const ProbeError& error) {
      EXPECT_EQ(error.kind(), kind);
      EXPECT_EQ(error.what(), text);
    }
    EXPECT_LT(Clock::now() - start, 4s);
  }

  pid_t writtenPid() const {
    pid_t pid = 0;
    std::ifstream(folder_ / "pid") >> pid;
    return pid;
  }

  TemporaryFolder folder_;
  ProbeOptions inFolder_{.environment = {{"FOLDER", folder_.path()}}};
};

TEST_F(ProbeProcessTest, returnsTheOutput) {
  EXPECT_EQ(probe("cat; echo \"$FOLDER\"; echo warning >&2; printf 'caf\\303'", inFolder_),
            folder_.path().string() + "\ncaf\uFFFD");
  EXPECT_EQ(probe("seq 1 100000").size(), 588'895u);
}

TEST_F(ProbeProcessTest, failsWithTheStatusAndTheComplaint) {
  expectError("echo output; echo no key >&2; exit 7", {}, ProbeError::Case::exitStatus, "models probe: exit 7: no key");
  expectError("kill -KILL $$", {}, ProbeError::Case::exitStatus, "models probe: exit 9");
}

TEST_F(ProbeProcessTest, aMissingProgramIsTheSystemsError) {
  try {
    run(ProbeProcess::run("/missing/agent", {}, "models"));
    ADD_FAILURE() << "no error";
  } catch (const ProbeError& error) {
    EXPECT_EQ(error.kind(), ProbeError::Case::launch);
    EXPECT_STREQ(error.what(), "models launch: /missing/agent: No such file or directory");
  }
}

TEST_F(ProbeProcessTest, oneThatHangsIsEndedWithItsTree) {
  inFolder_.limit = 200ms;
  expectError("(setsid sh -c 'echo $$ > $FOLDER/pid; exec sleep 1000' &); while :; do sleep 0.05; done", inFolder_,
              ProbeError::Case::exitStatus, "models probe: exit 15, ended after 0.2 s");
  EXPECT_FALSE(isAlive(writtenPid()));
  expectError("trap '' TERM; echo $$ > $FOLDER/pid; while :; do sleep 1; done", inFolder_, ProbeError::Case::exitStatus,
              "models probe: exit 9, ended after 0.2 s");
  EXPECT_FALSE(isAlive(writtenPid()));
  expectError("exec 2>&1; trap 'exit 0' TERM; while :; do sleep 0.05; done", inFolder_, ProbeError::Case::exitStatus,
              "models probe: exit 0, ended after 0.2 s");
}

TEST_F(ProbeProcessTest, isNotHeldUpByWhatItLeavesBehind) {
  const auto start = Clock::now();
  EXPECT_EQ(probe("setsid sleep 1000 & echo $! > $FOLDER/pid; echo answer", inFolder_), "answer\n");
  EXPECT_LT(Clock::now() - start, 2s);
  EXPECT_FALSE(isAlive(writtenPid()));
}

TEST_F(ProbeProcessTest, isEndedWhenItFloods) {
  expectError("yes", {.outputLimit = 1'000'000}, ProbeError::Case::tooMuchOutput,
              "models probe: more than 1000000 bytes of output");
}

TEST_F(ProbeProcessTest, leavesNoDescriptors) {
  asio::io_context loop;
  run(ProbeProcess::run("/bin/true", {}, "models"), loop);
  const auto before = openDescriptors();
  for (int i = 0; i < 20; ++i) run(ProbeProcess::run("/bin/true", {}, "models"), loop);
  EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace ravant::test
