#pragma once

#include <boost/asio/this_coro.hpp>
#include <exception>
#include <memory>
#include <vector>

#include "platform/async/async.hpp"
#include "platform/async/signal.hpp"

namespace ravant {

/// Runs the operations at once on the caller's executor, a strand or a single thread, and returns when all are over.
/// Throws what one of them threw, the first where there are several.
inline awaitable<void> sideBySide(std::vector<awaitable<void>> operations) {
  struct Progress {
    explicit Progress(const any_io_executor& executor) : changed(executor) {}
    Signal changed;
    std::size_t running = 0;
    std::exception_ptr error;
  };
  const any_io_executor executor = co_await asio::this_coro::executor;
  const auto progress = std::make_shared<Progress>(executor);
  progress->running = operations.size();
  for (awaitable<void>& operation : operations) {
    asio::co_spawn(executor, std::move(operation), [progress](std::exception_ptr error) {
      if (error && !progress->error) progress->error = error;
      --progress->running;
      progress->changed.notify();
    });
  }
  while (progress->running > 0) co_await progress->changed.wait();
  if (progress->error) std::rethrow_exception(progress->error);
}

}  // namespace ravant
