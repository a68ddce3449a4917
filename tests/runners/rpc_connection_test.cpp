#include "runners/rpc_connection.hpp"

#include <gmock/gmock.h>

#include <boost/asio/post.hpp>

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

TEST(RpcConnectionTest, aLargePromptMayWaitWhileTheAgentAsks) {
  const TemporaryFolder home;
  const auto agent = home.write("agent", R"(read -r line
echo '{"id":1,"result":{}}'
head -c 1000 >/dev/null
echo '{"jsonrpc":"2.0","id":1,"method":"ask"}'
echo '{"jsonrpc":"2.0","id":2,"method":"ask"}'
grep -q -m1 '"large"'
echo '{"id":2,"result":{"heard":true}}'
cat >/dev/null
)");
  asio::io_context loop;
  const auto connection = std::make_shared<RpcConnection>(
      loop.get_executor(), ShellOptions{.shellPath = "/bin/bash", .environment = {{"HOME", home.path()}}});
  json::object result;
  const auto ask = [&]() -> awaitable<void> {
    co_await connection->start(
        home.path(), "/bin/sh " + agent.string(), std::make_shared<RpcListener>(), [&]() -> awaitable<void> {
          co_await connection->initialize({}, std::chrono::seconds(60));
          connection->notify("first", {{"text", std::string(1'000'000, 'x')}});
          co_await asio::post(use_awaitable);
          result = co_await connection->request("large", {{"text", std::string(6'000'000, 'x')}});
        });
    co_await connection->close();
  };
  run(ask(), loop);
  EXPECT_TRUE(result.contains("heard"));
}

}  // namespace
}  // namespace ravant::test
