#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <random>

#include "platform/process/unique_fd.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

/// Appends messages for ever; tells the parent of each one when its operation has returned.
[[noreturn]] void appendUntilKilled(const std::filesystem::path& folder, ConversationId conversation, int report) {
  OpenStore store(folder);
  for (;;) {
    run(store.items->appendAgentMessage(conversation, "{}", "text\n\n```sh\nls\n```", {}, {}));
    if (::write(report, ".", 1) != 1) ::_exit(1);
  }
}

TEST(KilledWriter, losesNothingThatAnOperationReturnedFrom) {
  const TemporaryFolder folder;
  ConversationId conversation;
  {
    OpenStore store(folder.path());
    conversation = store.makeConversation();
  }
  std::mt19937 random(20261121);
  std::uniform_int_distribution<std::size_t> messages(1, 60);
  std::size_t acknowledged = 0;
  for (int round = 0; round < 10; ++round) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t writer = ::fork();
    if (writer == 0) appendUntilKilled(folder.path(), conversation, pipe[1]);
    ::close(pipe[1]);
    const UniqueFd reports(pipe[0]);

    std::array<char, 64> buffer;
    const std::size_t enough = acknowledged + messages(random);
    while (acknowledged < enough) {
      const ssize_t count = ::read(reports.get(), buffer.data(), buffer.size());
      ASSERT_GT(count, 0);
      acknowledged += static_cast<std::size_t>(count);
    }
    ::kill(writer, SIGKILL);
    ::waitpid(writer, nullptr, 0);
    for (ssize_t count; (count = ::read(reports.get(), buffer.data(), buffer.size())) > 0;) {
      acknowledged += static_cast<std::size_t>(count);
    }

    OpenStore store(folder.path());
    const auto check = store.container->connect().integrityCheck(std::chrono::seconds(10));
    EXPECT_EQ(check.verdict, sqlite::CheckResult::Verdict::sound) << check.words;
    const auto items = store.transcript(conversation);
    EXPECT_GE(items.size(), acknowledged);
    acknowledged = items.size();
    for (const ConversationItem& item : items) {
      EXPECT_EQ(std::get<AgentMessage>(item.detail).blocks.size(), 2U);
    }
  }
}

}  // namespace
}  // namespace ravant::test
