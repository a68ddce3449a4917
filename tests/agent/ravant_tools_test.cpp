#include "agent/ravant_tools.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/thread_pool.hpp>
#include <fstream>

#include "platform/files/private_file.hpp"
#include "platform/text/utf8.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using namespace asio::experimental::awaitable_operators;
using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::string_view kOutside =
    "Path is outside the working directory. File tools are confined to the project; use `bash` for anything else.";

class RavantToolsTest : public testing::Test {
 protected:
  RavantToolsTest() : tools(options(120s)) {
    std::filesystem::create_directory(project);
    ::setenv("HOME", folder_.path().c_str(), 1);
  }

  RavantToolsOptions options(std::chrono::seconds bashLimit, std::string shell = "/bin/bash") {
    return {.workingDirectory = project,
            .work = pool_.get_executor(),
            .shellPath = std::move(shell),
            .withheldVariables = {"SECRET_OF_THE_TEST"},
            .bashLimit = bashLimit};
  }

  RavantToolResult call(const std::string& name, json::object arguments) {
    return run(tools.execute(name, std::move(arguments)));
  }
  RavantToolResult bash(const std::string& command) { return call("bash", {{"command", command}}); }
  static RavantToolResult ok(std::string output) { return {.output = std::move(output)}; }
  static RavantToolResult error(std::string_view output) { return {.output = std::string(output), .isError = true}; }

  /// Waits for a pid that a command writes to a file of the project.
  awaitable<pid_t> pidIn(std::string file) {
    asio::steady_timer pause(co_await asio::this_coro::executor);
    for (;;) {
      pid_t pid = 0;
      if (std::ifstream(project / file) >> pid) co_return pid;
      pause.expires_after(5ms);
      co_await pause.async_wait(use_awaitable);
    }
  }

 private:
  TemporaryFolder folder_;
  asio::thread_pool pool_{1};

 public:
  std::filesystem::path project = folder_ / "project";
  RavantTools tools;
};

TEST_F(RavantToolsTest, filesAreWrittenReadEditedAndListed) {
  EXPECT_EQ(call("list_directory", {}), ok("(empty)"));
  EXPECT_EQ(call("write_file", {{"path", "src/größe.txt"}, {"content", "eins\nzwei ü\n"}}),
            ok("Wrote 13 bytes to src/größe.txt"));
  EXPECT_EQ(call("read_file", {{"path", "./src/../src/größe.txt"}}), ok("eins\nzwei ü\n"));
  EXPECT_EQ(call("read_file", {{"path", (project / "src/größe.txt").string()}}), ok("eins\nzwei ü\n"));
  EXPECT_EQ(call("edit_file", {{"path", "src/größe.txt"}, {"old_string", "zwei"}, {"new_string", ""}}),
            ok("Edited src/größe.txt"));
  EXPECT_EQ(readFile(project / "src/größe.txt"), "eins\n ü\n");
  std::filesystem::create_directory(project / ".hidden");
  std::ofstream(project / "Z.txt");
  EXPECT_EQ(call("list_directory", {{"path", "."}}), ok(".hidden/\nZ.txt\nsrc/"));
  EXPECT_EQ(call("write_file", {{"path", "Z.txt"}, {"content", ""}}), ok("Wrote 0 bytes to Z.txt"));
  EXPECT_EQ(call("read_file", {{"path", "Z.txt"}}), ok(""));
}

TEST_F(RavantToolsTest, anEditThatIsNotUniqueChangesNothing) {
  std::ofstream(project / "a") << "aaa b b";
  const auto edit = [&](std::string_view from) {
    return call("edit_file", {{"path", "a"}, {"old_string", from}, {"new_string", "x"}});
  };
  EXPECT_EQ(edit(""), error("old_string must not be empty"));
  EXPECT_EQ(edit("c"), error("old_string not found in a"));
  EXPECT_EQ(edit("b"), error("old_string occurs 2 times in a"));
  EXPECT_EQ(edit("aa"), error("old_string occurs 2 times in a")) << "it is not said which one";
  EXPECT_EQ(readFile(project / "a"), "aaa b b");
}

TEST_F(RavantToolsTest, whatIsOutsideIsNotTouched) {
  const std::string outside = (project.parent_path() / "outside").string();
  std::ofstream(outside) << "secret";
  std::filesystem::create_symlink(outside, project / "link");
  for (const std::string& path :
       {std::string("../outside"), outside, std::string("link"), std::string("x/../../outside")}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(call("read_file", {{"path", path}}), error(kOutside));
    EXPECT_EQ(call("write_file", {{"path", path}, {"content", "x"}}), error(kOutside));
    EXPECT_EQ(call("edit_file", {{"path", path}, {"old_string", "s"}, {"new_string", "x"}}), error(kOutside));
    EXPECT_EQ(call("list_directory", {{"path", path}}), error(kOutside));
  }
  EXPECT_EQ(call("list_directory", {{"path", ".."}}), error(kOutside));
  EXPECT_EQ(readFile(outside), "secret");
}

TEST_F(RavantToolsTest, whatIsNoTextFileIsRefusedInWords) {
  ASSERT_EQ(::mkfifo((project / "pipe").c_str(), 0600), 0);
  std::ofstream(project / "binary") << "PNG\xff\xfe";
  EXPECT_EQ(call("read_file", {{"path", "none"}}), error("Could not read none: No such file or directory"));
  EXPECT_EQ(call("read_file", {{"path", "."}}), error("Could not read .: it is a folder"));
  EXPECT_EQ(call("read_file", {{"path", "pipe"}}), error("Could not read pipe: it is a pipe"));
  EXPECT_EQ(call("read_file", {{"path", "binary"}}), error("Could not read binary: it is not UTF-8 text"));
  EXPECT_EQ(call("write_file", {{"path", "pipe"}, {"content", ""}}), error("Could not write pipe: it is a pipe"));
  EXPECT_EQ(call("edit_file", {{"path", "binary"}, {"old_string", "P"}, {"new_string", ""}}),
            error("Could not edit binary: it is not UTF-8 text"));
  EXPECT_EQ(call("list_directory", {{"path", "binary"}}), error("Could not list binary: Not a directory"));
}

TEST_F(RavantToolsTest, callsThatMakeNoSenseBecomeErrors) {
  EXPECT_EQ(call("bash", {}), error("Missing command"));
  EXPECT_EQ(call("bash", {{"command", ""}}), error("Empty command"));
  EXPECT_EQ(call("bash", {{"command", 5}}), error("command must be a string"));
  EXPECT_EQ(call("read_file", {{"path", nullptr}}), error("Missing path"));
  EXPECT_EQ(call("write_file", {{"path", "x"}}), error("Missing content"));
  EXPECT_EQ(call("edit_file", {{"path", "x"}, {"old_string", "a"}}), error("Missing new_string"));
  EXPECT_EQ(call("list_directory", {{"path", json::array()}}), error("path must be a string"));
  EXPECT_EQ(call("browse", {}), error("Unknown tool: browse"));
  EXPECT_FALSE(std::filesystem::exists(project / "x"));
}

TEST_F(RavantToolsTest, longTextsAreCutBetweenCharacters) {
  const auto repeated = [](std::string_view character, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += character;
    return text;
  };
  for (const std::string_view character : {"x", "ü", "漢", "🙂"}) {
    SCOPED_TRACE(character);
    std::ofstream(project / "whole") << repeated(character, 50'000);
    std::ofstream(project / "more") << repeated(character, 50'001);
    EXPECT_EQ(call("read_file", {{"path", "whole"}}).output, repeated(character, 50'000));
    EXPECT_EQ(call("read_file", {{"path", "more"}}).output, repeated(character, 50'000) + "\n[truncated]");
    std::ofstream(project / "printed") << repeated(character, 40'000);
    EXPECT_EQ(bash("cat printed"), ok(repeated(character, 30'000) + "\n[output truncated]"));
    std::ofstream(project / "printed") << repeated(character, 30'000);
    EXPECT_EQ(bash("cat printed"), ok(repeated(character, 30'000)));
  }
}

TEST_F(RavantToolsTest, aCommandRunsInTheFolderAndShowsAllItPrints) {
  EXPECT_EQ(bash("pwd; echo two >&2; echo three"), ok(project.string() + "\ntwo\nthree\n"));
  EXPECT_EQ(bash("printf one; exit 3"), error("one\nexit code 3"));
  EXPECT_EQ(bash("echo one; false"), error("one\nexit code 1"));
  EXPECT_EQ(bash("false"), error("exit code 1"));
  EXPECT_EQ(bash("kill -9 $$"), error("exit code 137"));
  EXPECT_EQ(bash("cat; read -r line || echo no input"), ok("no input\n"));
  EXPECT_EQ(bash("printf 'a\\377b'"), ok("a\xEF\xBF\xBD"
                                         "b"));
  EXPECT_EQ(bash("echo \"it's $((1+1)) \\\"quoted\\\"\""), ok("it's 2 \"quoted\"\n"));
  EXPECT_EQ(bash("shopt -q login_shell && echo login"), ok("login\n"));
  ::setenv("SECRET_OF_THE_TEST", "secret", 1);
  EXPECT_EQ(bash("echo \"<$SECRET_OF_THE_TEST>\""), ok("<>\n"));
}

TEST_F(RavantToolsTest, aShellThatIsNoneIsNamed) {
  RavantTools broken(options(120s, "/no/such/shell"));
  EXPECT_EQ(run(broken.execute("bash", {{"command", "true"}})),
            error("Failed to launch shell: /no/such/shell: No such file or directory"));
}

TEST_F(RavantToolsTest, aCommandLeavesWhatHasASessionOfItsOwn) {
  const RavantToolResult result = bash(
      "setsid sleep 1000 >/dev/null & echo $! > server; sleep 1000 & echo $! > job; "
      "until [ \"$(cut -d' ' -f6 /proc/$(cat server)/stat)\" = \"$(cat server)\" ]; do :; done; echo done");
  EXPECT_EQ(result.output, "done\n");
  EXPECT_FALSE(isAlive(run(pidIn("job"))));
  EXPECT_TRUE(isAlive(run(pidIn("server"))));
  run(tools.endDetached());
  EXPECT_FALSE(isAlive(run(pidIn("server"))));
}

TEST_F(RavantToolsTest, aCommandThatLeavesOnePrintingReturns) {
  EXPECT_THAT(bash("yes & echo $! > pid").output, StartsWith("y\n"));
  EXPECT_FALSE(isAlive(run(pidIn("pid"))));
}

TEST_F(RavantToolsTest, aCommandThatTakesTooLongIsEndedWithItsWholeTree) {
  RavantTools impatient(options(1s));
  const RavantToolResult result =
      run(impatient.execute("bash", {{"command", "echo begun; setsid sleep 1000 & echo $! > pid; wait"}}));
  EXPECT_EQ(result, error("begun\n\n[timed out after 1s]"));
  EXPECT_FALSE(isAlive(run(pidIn("pid"))));
}

TEST_F(RavantToolsTest, aCommandThatPrintsWithoutEndIsBounded) {
  RavantTools impatient(options(1s));
  const RavantToolResult result = run(impatient.execute("bash", {{"command", "yes"}}));
  EXPECT_TRUE(result.isError);
  EXPECT_EQ(result.output.size(), 30'000 + std::string_view("\n[output truncated]\n[timed out after 1s]").size());
  EXPECT_THAT(result.output, testing::EndsWith("y\n\n[output truncated]\n[timed out after 1s]"));
}

TEST_F(RavantToolsTest, stoppingEndsTheCommandThatRuns) {
  const auto stopped = [&]() -> awaitable<void> {
    co_await pidIn("pid");
    tools.stop();
  };
  const auto began = std::chrono::steady_clock::now();
  const RavantToolResult result = run(
      tools.execute("bash", {{"command", "trap '' TERM; echo begun; sleep 1000 & echo $! > pid; wait"}}) && stopped());
  EXPECT_EQ(result, error("begun\n[cancelled]"));
  EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
  EXPECT_FALSE(isAlive(run(pidIn("pid"))));
  EXPECT_EQ(bash("touch later"), error("[cancelled]"));
  EXPECT_EQ(call("write_file", {{"path", "later"}, {"content", ""}}), error("[cancelled]"));
  EXPECT_FALSE(std::filesystem::exists(project / "later"));
}

}  // namespace
}  // namespace ravant::test
