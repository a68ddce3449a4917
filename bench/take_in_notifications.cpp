// take_in_notifications FOLDER CONVERSATION OTHER SERVER: the seconds of prompts at one Codex server that prints
// notifications as fast as it can: "one" of a single prompt with the whole stream, "inTurn" of two with half of it, one
// after the other, "atOnce" of the same two at once; and "atRest" the seconds of processor time that the runner takes
// in a second without a prompt.

#include <fmt/format.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <ctime>

#include "bench/open_store.hpp"
#include "bench/timing.hpp"
#include "platform/process/login_shell.hpp"
#include "runners/codex/codex_app_server_runner.hpp"

namespace ravant::bench {
namespace {

double processorSeconds() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

awaitable<double> restingSeconds() {
  const double before = processorSeconds();
  asio::steady_timer timer(co_await asio::this_coro::executor, std::chrono::seconds(1));
  co_await timer.async_wait(use_awaitable);
  co_return processorSeconds() - before;
}

template <class Run>
double secondsOf(Run run) {
  const auto start = std::chrono::steady_clock::now();
  run();
  return secondsSince(start);
}

}  // namespace
}  // namespace ravant::bench

int main(int, char** arguments) {
  using namespace ravant;
  using namespace asio::experimental::awaitable_operators;
  bench::OpenStore store(arguments[1]);
  const auto runner = std::make_shared<CodexAppServerRunner>(
      store.container, RpcRunnerOptions{.io = store.executors.io(),
                                        .shell = {.shellPath = loginShell().path, .ledger = store.processes}});
  const auto send = [&](int conversation, std::string stream) {
    return runner->send({.prompt = std::move(stream),
                         .model = "gpt",
                         .conversationId = ConversationId(Uuid::parse(arguments[conversation]).value()),
                         .workingDirectory = "/tmp",
                         .binaryPath = arguments[4]});
  };
  test::run(send(2, "none"));
  test::run(send(3, "none"));
  const double atRest = test::run(bench::restingSeconds());
  const double one = bench::secondsOf([&] { test::run(send(2, "whole")); });
  const double inTurn = bench::secondsOf([&] {
    test::run(send(2, "half"));
    test::run(send(3, "half"));
  });
  const double atOnce = bench::secondsOf([&] { test::run(send(2, "half") && send(3, "half")); });
  fmt::print("one\t{}\ninTurn\t{}\natOnce\t{}\natRest\t{}\n", one, inTurn, atOnce, atRest);
  test::run(runner->shutdown());
}
