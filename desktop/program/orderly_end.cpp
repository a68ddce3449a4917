#include "desktop/program/orderly_end.hpp"

#include <boost/asio/as_tuple.hpp>
#include <chrono>
#include <csignal>
#include <cstdlib>

#include "core/agent_runner_store.hpp"
#include "desktop/program/desktop_window.hpp"
#include "platform/log/log.hpp"
#include "platform/process/child_process.hpp"

namespace ravant::desktop {
namespace {

constexpr Log kLog("com.ravant.desktop", "OrderlyEnd");

/// Whoever ends a group of processes can send each of them the signal twice: what comes so soon is the same wish.
constexpr std::chrono::milliseconds kOneWish(300);
/// A prompt that waited begins within it behind the one before.
constexpr std::chrono::seconds kUntilIdle(2);

}  // namespace

OrderlyEnd::OrderlyEnd(Application& application, DesktopWindow& window)
    : application_(application),
      window_(window),
      signals_(InterfaceLoop::instance().executor(), SIGTERM, SIGINT, SIGHUP) {
  idle_.setSingleShot(true);
  idle_.setInterval(kUntilIdle);
  connect(&idle_, &QTimer::timeout, this, [this] {
    if (state_ == State::Background && runs() == 0) stopAndQuit();
  });
}

int OrderlyEnd::runs() const { return static_cast<int>(application_.runners().activeConversations().size()); }

void OrderlyEnd::request() {
  if (state_ != State::Open) return;
  if (runs() > 0) {
    setState(State::Asking);
  } else {
    stopAndQuit();
  }
}

void OrderlyEnd::stopAndQuit() {
  if (state_ == State::Ending || state_ == State::Ended) return;
  setState(State::Ending);
  start(end());
}

void OrderlyEnd::keepRunning() {
  if (state_ != State::Asking) return;
  setState(State::Background);
  start(endWhenIdle());
}

void OrderlyEnd::cancel() {
  runsChanged_.reset();
  idle_.stop();
  if (state_ == State::Asking || state_ == State::Background) setState(State::Open);
}

void OrderlyEnd::watchSignals() { start(followSignals()); }

awaitable<void> OrderlyEnd::followSignals() {
  std::chrono::steady_clock::time_point last;
  for (;;) {
    const auto [error, signal] = co_await alive(signals_.async_wait(asio::as_tuple(use_awaitable)));
    if (error) co_return;
    kLog.info("signal {}", signal);
    const auto now = std::chrono::steady_clock::now();
    if (now - std::exchange(last, now) < kOneWish) continue;
    if (state_ == State::Ending) {
      endAllChildren(Termination::askedFirst);
      std::quick_exit(EXIT_FAILURE);
    }
    stopAndQuit();
  }
}

void OrderlyEnd::setState(State state) {
  state_ = state;
  Q_EMIT stateChanged();
}

awaitable<void> OrderlyEnd::endWhenIdle() {
  runsChanged_ = application_.notifications().observe(std::string(kActiveConversationsChanged),
                                                      InterfaceLoop::instance().executor());
  while (state_ == State::Background && runsChanged_) {
    if (runs() > 0) {
      idle_.stop();
    } else {
      idle_.start();
    }
    co_await alive(runsChanged_->next());
  }
}

awaitable<void> OrderlyEnd::end() {
  try {
    co_await alive(window_.close());
    co_await alive(application_.shutdown());
  } catch (const std::exception& error) {
    kLog.error("the end was not orderly: {}", error.what());
  }
  signals_.cancel();
  setState(State::Ended);
  Q_EMIT ended();
}

}  // namespace ravant::desktop
