#include "cli/command/interruption.hpp"

#include <boost/asio/as_tuple.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "cli/command/exit_status.hpp"
#include "platform/process/child_process.hpp"

namespace ravant::cli {
namespace {

constexpr std::chrono::milliseconds kSameWish{300};

bool isIgnored(int signal) {
  struct sigaction action{};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Interruption::Interruption(asio::io_context& interfaceLoop)
    : signals_(interfaceLoop, SIGINT, SIGTERM), changed_(interfaceLoop.get_executor()) {
  if (!isIgnored(SIGHUP)) signals_.add(SIGHUP);
}

awaitable<void> Interruption::watch() {
  for (;;) {
    const auto [error, signal] = co_await signals_.async_wait(asio::as_tuple(use_awaitable));
    if (error) co_return;
    const auto now = std::chrono::steady_clock::now();
    const bool isSameWish = std::exchange(lastSignal_, signal) == signal && now - lastSignalAt_ < kSameWish;
    lastSignalAt_ = now;
    if (isSameWish) continue;
    if (state_ == State::takenOver) {
      request();
    } else {
      endProgram();
    }
  }
}

void Interruption::endProgram() {
  // An operation that was told to stop has asked its children already.
  const auto termination = state_ == State::endsProgram ? Termination::askedFirst : Termination::atOnce;
  if (endAllChildren(termination) == TreeEnd::survivorsLeft) {
    // Those of prompts are ended by the next start: they were written down when they were started.
    std::fputs("ravant: some processes could not be ended (see \"ravant process list\")\n", stderr);
  }
  std::quick_exit(static_cast<int>(ExitStatus::interrupted));
}

void Interruption::stop() { signals_.cancel(); }

awaitable<bool> Interruption::requested() {
  if (state_ == State::endsProgram) state_ = State::takenOver;
  while (state_ == State::takenOver) co_await changed_.wait();
  co_return state_ == State::requested;
}

void Interruption::request() {
  if (state_ == State::takenOver) state_ = State::requested;
  changed_.notify();
}

void Interruption::release() {
  if (state_ == State::takenOver) state_ = State::released;
  changed_.notify();
}

}  // namespace ravant::cli
