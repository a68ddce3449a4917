#pragma once

#include "platform/async/thread_pool.hpp"

namespace ravant {

/// The two thread pools of a process. Throws std::system_error where a thread cannot be made. They are apart so that a
/// slow read of a store or repository never delays a pipe.
///
/// `join` waits until nothing is outstanding on either pool: whoever spawned a loop ends it first.
class Executors {
 public:
  Executors() = default;
  ~Executors();
  Executors(const Executors&) = delete;
  Executors& operator=(const Executors&) = delete;

  /// Pipes, timers, runners and clients: nothing on it blocks.
  any_io_executor io() { return io_.executor(); }
  /// Blocking work: the store and repositories.
  any_io_executor work() { return work_.executor(); }

  void join();

 private:
  static constexpr std::size_t kThreadsPerPool = 2;
  ThreadPool io_{kThreadsPerPool};
  ThreadPool work_{kThreadsPerPool};
};

}  // namespace ravant
