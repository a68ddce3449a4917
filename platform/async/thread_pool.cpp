#include "platform/async/thread_pool.hpp"

#include <system_error>

namespace ravant {

ThreadPool::ThreadPool(std::size_t threads) : context_(static_cast<int>(threads)), work_(context_.get_executor()) {
  threads_.reserve(threads);
  try {
    while (threads_.size() < threads) threads_.emplace_back([this] { context_.run(); });
  } catch (const std::system_error& error) {
    end();
    throw std::system_error(error.code(), "a thread cannot be started");
  }
}

ThreadPool::~ThreadPool() { end(); }

void ThreadPool::join() {
  work_.reset();
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
}

void ThreadPool::end() {
  context_.stop();
  join();
}

}  // namespace ravant
