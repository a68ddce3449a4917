#include "platform/process/left_processes.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

#include "platform/process/line_reader.hpp"
#include "tests/support/processes.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

std::optional<LeftProcess> listed(pid_t pid) {
  const auto all = leftProcesses();
  const auto found = std::ranges::find(all, pid, [](const LeftProcess& process) { return process.identity.pid; });
  return found == all.end() ? std::nullopt : std::optional(*found);
}

std::optional<LeftProcessError::Case> refusal(pid_t pid) {
  try {
    run(endLeftProcess(pid));
    return std::nullopt;
  } catch (const LeftProcessError& error) {
    return error.kind();
  }
}

TEST(LeftProcesses, areThoseThatDetachedThemselves) {
  const TemporaryFolder folder;
  asio::io_context loop;
  // The head has a child and, in its session, an orphan.
  const auto child = ChildProcess::launch(
      {.executable = "/bin/sh",
       .arguments = {"-c",
                     "(setsid sh -c '(sh -c \"echo \\$\\$; exec sleep 1000\" &); sleep 1000 & echo $!; echo $$; wait' "
                     "server &); echo $$; exec sleep 1000"},
       .workingDirectory = folder.path()},
      loop.get_executor());
  LineReader output(child->standardOutput());
  std::vector<pid_t> pids;
  for (int i = 0; i < 4; ++i) pids.push_back(std::stoi(run(output.next(), loop).value()));
  std::erase(pids, child->pid());

  std::optional<LeftProcess> head;
  for (const pid_t pid : pids) {
    if (const auto found = listed(pid)) head = found;
  }
  ASSERT_TRUE(head);
  EXPECT_EQ(head->processes, 3u);
  EXPECT_EQ(head->folder, folder.path());
  EXPECT_THAT(head->command, testing::AllOf(testing::StartsWith("sh -c (sh"), testing::EndsWith("wait server")));
  EXPECT_LT(std::chrono::abs(std::chrono::system_clock::now() - head->startedAt), std::chrono::minutes(1));

  EXPECT_FALSE(listed(child->pid()));
  EXPECT_EQ(refusal(child->pid()), LeftProcessError::Case::inUse);
  EXPECT_EQ(refusal(::getpid()), LeftProcessError::Case::notOurs);
  EXPECT_EQ(refusal(1), LeftProcessError::Case::notOurs);
  EXPECT_EQ(refusal(999'999'999), LeftProcessError::Case::unknown);

  EXPECT_EQ(run(endLeftProcess(head->identity.pid)), TreeEnd::complete);
  EXPECT_THAT(pids, testing::Each(testing::Not(testing::Truly(isAlive))));
  EXPECT_TRUE(child->isRunning());
  run(child->endTree(), loop);
}

TEST(LeftProcesses, areThoseOfAKilledProgram) {
  std::array<int, 2> report{};
  ASSERT_EQ(::pipe(report.data()), 0);
  const pid_t program = ::fork();
  if (program == 0) {
    asio::io_context loop;
    const auto child = ChildProcess::launch({.executable = "/bin/sleep", .arguments = {"1000"}}, loop.get_executor());
    const pid_t pid = child->pid();
    if (::write(report[1], &pid, sizeof(pid)) < 0) ::_exit(1);
    for (;;) ::pause();
  }
  pid_t pid = 0;
  ASSERT_EQ(::read(report[0], &pid, sizeof(pid)), static_cast<ssize_t>(sizeof(pid)));
  EXPECT_FALSE(listed(pid));
  ::kill(program, SIGKILL);
  ::waitpid(program, nullptr, 0);
  EXPECT_TRUE(listed(pid));
  EXPECT_EQ(refusal(pid), std::nullopt);
  EXPECT_FALSE(isAlive(pid));
  for (const int end : report) ::close(end);
}

}  // namespace
}  // namespace ravant::test
