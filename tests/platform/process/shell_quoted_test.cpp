#include "platform/process/shell_quoted.hpp"

#include <gtest/gtest.h>

#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {
namespace {

class ShellQuotedTest : public testing::TestWithParam<std::string> {};

TEST_P(ShellQuotedTest, isReadBackByTheShell) {
  asio::io_context loop;
  for (const std::string text :
       {"", "plain", "it's", "''", "$HOME `id` \"!\" \\", "two\nlines\t*?[", "caf\u00e9 \xFF"}) {
    const auto child = ChildProcess::launch(
        {.executable = GetParam(), .arguments = {"-c", "printf %s " + shellQuoted(text)}}, loop.get_executor());
    EXPECT_EQ(run(outputOf(*child), loop), text);
    run(child->endTree(), loop);
  }
}

INSTANTIATE_TEST_SUITE_P(Shells, ShellQuotedTest, testing::Values("/bin/bash", "/bin/dash", "/bin/zsh"));

}  // namespace
}  // namespace ravant::test
