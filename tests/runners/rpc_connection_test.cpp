#include "runners/rpc_connection.hpp"

#include <gmock/gmock.h>

#include "core/agent_runner_error.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

TEST(RpcConnectionTest, anAgentThatAsksAndNeverReadsIsEnded) {
  const TemporaryFolder home;
  asio::io_context loop;
  const auto connection = std::make_shared<RpcConnection>(
      loop.get_executor(), ShellOptions{.shellPath = "/bin/bash", .environment = {{"HOME", home.path()}}});
  const auto askForEver = [&]() -> awaitable<void> {
    co_await connection->start(
        home.path(), R"(yes '{"jsonrpc":"2.0","id":1,"method":"ask"}')", std::make_shared<RpcListener>(),
        [&]() -> awaitable<void> { co_await connection->initialize({}, std::chrono::seconds(60)); });
  };
  try {
    run(askForEver(), loop);
    ADD_FAILURE() << "it answered";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "agentExitedSilently: the agent was ended: it does not read what it is sent");
  }
}

}  // namespace
}  // namespace ravant::test
