#pragma once

#include <boost/asio/thread_pool.hpp>

#include "platform/async/async.hpp"

namespace ravant {

/// The two thread pools of a process. They are apart so that a slow read of a store or repository
/// never delays a pipe.
///
/// `join` waits until nothing is outstanding on either pool: whoever spawned a loop ends it first.
class Executors {
 public:
  Executors() = default;
  ~Executors();
  Executors(const Executors&) = delete;
  Executors& operator=(const Executors&) = delete;

  /// Pipes, timers, runners and clients: nothing on it blocks.
  any_io_executor io() { return io_.get_executor(); }
  /// Blocking work: the store and repositories.
  any_io_executor work() { return work_.get_executor(); }

  void join();

 private:
  static constexpr std::size_t kThreadsPerPool = 2;
  asio::thread_pool io_{kThreadsPerPool};
  asio::thread_pool work_{kThreadsPerPool};
};

}  // namespace ravant
