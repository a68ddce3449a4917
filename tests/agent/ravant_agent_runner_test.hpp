#pragma once

#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/thread_pool.hpp>
#include <utility>

#include "agent/ravant_agent_runner.hpp"
#include "platform/keystore/file_key_store.hpp"
#include "tests/agents/runner_bench.hpp"
#include "tests/agents/scripted_model.hpp"

namespace ravant::test {

using namespace asio::experimental::awaitable_operators;
using namespace std::chrono_literals;

inline constexpr std::string_view kModel = "deepseek/deepseek-v4-pro";

/// The runner beside a model with a script.
class RavantAgentRunnerTest : public testing::Test {
 protected:
  /// The model's script begins here.
  void play(std::vector<ModelAnswer> script) {
    model = std::make_unique<ScriptedModel>(std::move(script));
    addresses = {{RavantProvider::openrouter, model->url()}, {RavantProvider::mistral, model->url()}};
    if (bench) {
      bench->replaceRunner();
    } else {
      bench = std::make_unique<RunnerBench>(AgentType::ravant, [this](auto container, auto io, const auto& shell) {
        return makeRunner(std::move(container), io, shell);
      });
    }
  }

  awaitable<std::string> outcomeOf(std::string prompt, std::optional<ConversationId> conversation = {}) {
    AgentRunRequest request = bench->request("", std::move(prompt), conversation);
    request.model = slug;
    return bench->outcomeOf(std::move(request));
  }
  std::string send(std::string prompt) { return bench->await(outcomeOf(std::move(prompt))); }

  /// The outcome of a prompt that is cancelled once `when` is over.
  std::string sendAndCancel(std::string prompt, std::function<awaitable<void>()> when) {
    const auto cancel = [&]() -> awaitable<std::chrono::steady_clock::duration> {
      co_await when();
      const auto began = std::chrono::steady_clock::now();
      co_await bench->cancel();
      co_return std::chrono::steady_clock::now() - began;
    };
    const auto [outcome, time] = bench->await(outcomeOf(std::move(prompt)) && cancel());
    EXPECT_LT(time, 5s);
    return outcome;
  }

  /// The outcome of a prompt, and what was announced of it by the way.
  std::pair<std::string, std::vector<Change>> sendWatched(std::string prompt) {
    std::vector<Change> announced;
    const auto feed = bench->await(bench->subscribe());
    const auto send = [&]() -> awaitable<std::string> {
      std::string outcome = co_await outcomeOf(std::move(prompt));
      co_await bench->flushChanges();
      feed->end();
      co_return outcome;
    };
    const auto watch = [&]() -> awaitable<void> {
      while (const auto batch = co_await feed->next()) {
        std::ranges::copy_if(batch->changes, std::back_inserter(announced),
                             [](const Change& change) { return change.growth || change.state; });
      }
    };
    std::string outcome = bench->await(send() && watch());
    return {std::move(outcome), std::move(announced)};
  }

  /// Returns once something has happened elsewhere: on a thread of the model, or in a command.
  static awaitable<void> until(std::function<bool()> hasHappened) {
    asio::steady_timer pause(co_await asio::this_coro::executor);
    while (!hasHappened()) {
      pause.expires_after(5ms);
      co_await pause.async_wait(use_awaitable);
    }
  }
  static awaitable<void> opened(const Gate& gate) {
    return until([&gate] { return gate.isOpen(); });
  }
  /// Of the project, with something in it.
  awaitable<void> written(const std::string& file) {
    return until([path = bench->project / file] {
      std::error_code missing;
      return std::filesystem::file_size(path, missing) > 0 && !missing;
    });
  }

 private:
  std::shared_ptr<AgentRunner> makeRunner(std::shared_ptr<ModelContainer> container, any_io_executor io,
                                          const ShellOptions& shell) {
    return std::make_shared<RavantAgentRunner>(
        std::move(container),
        RavantRunnerOptions{
            .io = io,
            .work = pool_.get_executor(),
            .http = std::make_shared<HttpEngine>(),
            .keys = std::make_shared<RavantProviderKey>(pool_.get_executor(), keyStore,
                                                        [this](const char*) { return key; }),
            .baseAddresses = addresses,
            .session = {.stallLimit = 30s},
            .retry = {.retries = retries, .firstWait = firstWait, .patienceWithWords = patienceWithRefusals},
            .shellPath = shell.shellPath,
            .processes = shell.ledger});
  }

  TemporaryFolder folder_;
  asio::thread_pool pool_{2};

 protected:
  std::shared_ptr<KeyStore> keyStore = std::make_shared<FileKeyStore>(folder_ / "keys.json");
  std::string slug{kModel};
  std::optional<std::string> key{ScriptedModel::kKey};
  std::map<RavantProvider, std::string> addresses;
  int retries = 3;
  std::chrono::milliseconds firstWait = 1ms;
  std::chrono::milliseconds patienceWithRefusals = 5s;
  Gate begun;
  Gate release;
  std::unique_ptr<ScriptedModel> model;
  std::unique_ptr<RunnerBench> bench;
};

}  // namespace ravant::test
