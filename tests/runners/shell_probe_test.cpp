#include "runners/shell_probe.hpp"

#include "runners/probe_process.hpp"
#include "tests/runners/shell_session_fixture.hpp"

namespace ravant::test {
namespace {

class ShellProbeTest : public ShellSessionTest {
 protected:
  std::string probe(std::string command, std::size_t outputLimit) {
    return run(probeInShell({.io = loop_.get_executor(), .shell = options("/bin/bash"), .outputLimit = outputLimit},
                            std::move(command)),
               loop_);
  }
};

TEST_F(ShellProbeTest, returnsTheOutputWithOrWithoutALineBreakAtItsEnd) {
  EXPECT_EQ(probe("printf 'a\\nb\\n'", 100), "a\nb\n");
  EXPECT_EQ(probe("printf 'a\\nb'", 100), "a\nb");
  EXPECT_EQ(probe("true", 100), "");
}

TEST_F(ShellProbeTest, endsACommandThatPrintsWithoutEnd) {
  try {
    probe("echo $$ > \"$HOME/pid\"; yes", 1'000'000);
    ADD_FAILURE() << "no error";
  } catch (const ProbeError& error) {
    EXPECT_EQ(error.kind(), ProbeError::Case::tooMuchOutput);
  }
  pid_t shell = 0;
  std::ifstream(home_ / "pid") >> shell;
  ASSERT_GT(shell, 0);
  EXPECT_FALSE(isAlive(shell));
}

}  // namespace
}  // namespace ravant::test
