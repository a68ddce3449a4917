#pragma once

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <list>

#include "platform/async/async.hpp"

namespace ravant {

/// Wakes coroutines of one strand that wait for its state to change. Like a condition variable: the
/// waiter looks at the state again.
class Signal {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  explicit Signal(any_io_executor strand) : strand_(std::move(strand)) {}

  void notify() {
    for (asio::steady_timer& waiter : waiters_) waiter.cancel();
  }

  /// Returns after the next `notify`, or at the deadline. The signal outlives the wait.
  awaitable<void> wait(Deadline deadline = Deadline::max()) {
    const auto waiter = waiters_.emplace(waiters_.end(), strand_, deadline);
    co_await waiter->async_wait(asio::as_tuple(use_awaitable));
    waiters_.erase(waiter);
  }

 private:
  any_io_executor strand_;
  std::list<asio::steady_timer> waiters_;
};

}  // namespace ravant
