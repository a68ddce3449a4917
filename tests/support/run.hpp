#pragma once

#include <boost/asio/io_context.hpp>
#include <exception>
#include <optional>
#include <type_traits>

#include "platform/async/async.hpp"

namespace ravant::test {

/// Runs one awaitable to its end on a loop of its own, as the interface thread of a program would,
/// and returns its result or throws its exception.
template <class Result>
Result run(awaitable<Result> operation, asio::io_context& loop) {
  std::exception_ptr error;
  loop.restart();
  if constexpr (std::is_void_v<Result>) {
    asio::co_spawn(loop, std::move(operation), [&](std::exception_ptr e) { error = e; });
    loop.run();
    if (error) std::rethrow_exception(error);
  } else {
    std::optional<Result> result;
    asio::co_spawn(loop, std::move(operation), [&](std::exception_ptr e, Result value) {
      error = e;
      if (!e) result.emplace(std::move(value));
    });
    loop.run();
    if (error) std::rethrow_exception(error);
    return std::move(*result);
  }
}

template <class Result>
Result run(awaitable<Result> operation) {
  asio::io_context loop;
  return run(std::move(operation), loop);
}

}  // namespace ravant::test
