#include "runners/codex/shell_wrapping.hpp"

#include <gtest/gtest.h>

namespace ravant::codex::test {
namespace {

TEST(ShellWrapping, isTakenOffWhereItIsAllThereIs) {
  EXPECT_EQ(withoutShell("/bin/bash -lc 'echo one; exit 3'"), "echo one; exit 3");
  EXPECT_EQ(withoutShell("bash -c ls"), "ls");
  EXPECT_EQ(withoutShell(R"(/usr/bin/zsh -lc "echo 'a' \"b\" \$HOME \\n")"), R"(echo 'a' "b" $HOME \n)");
  EXPECT_EQ(withoutShell(R"(sh -c 'it'"'"'s '\''quoted'\')"), "it's 'quoted'");
}

TEST(ShellWrapping, staysWhereItIsNot) {
  for (const char* const command :
       {"make all", "/bin/bash -lc 'echo' name", "/bin/bash script.sh x", "/bin/bash -lc 'open", "python -c 'print(1)'",
        "bash -c a;b", "bash -lc \"$COMMAND\"", "bash -lc ''", "bash -lc", "", "bash -lc a\\"}) {
    EXPECT_EQ(withoutShell(command), command);
  }
}

}  // namespace
}  // namespace ravant::codex::test
