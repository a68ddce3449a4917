#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <thread>
#include <vector>

#include "platform/async/async.hpp"

namespace ravant {

/// An executor with threads of its own. Where a thread cannot be made, the constructor ends those that it made and
/// throws std::system_error with the system's words.
class ThreadPool {
 public:
  explicit ThreadPool(std::size_t threads);
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  any_io_executor executor() { return context_.get_executor(); }
  /// Waits until nothing is outstanding.
  void join();

 private:
  void end();

  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> work_;
  std::vector<std::thread> threads_;
};

}  // namespace ravant
