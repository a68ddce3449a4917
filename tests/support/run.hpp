#pragma once

#include <boost/asio/io_context.hpp>
#include <optional>
#include <type_traits>
#include <utility>

#include "platform/async/async.hpp"

namespace ravant::test {

/// Runs one awaitable to its end on a loop of its own, as the interface thread of a program would,
/// and returns its result or throws its exception.
void run(awaitable<void> operation, asio::io_context& loop);

template <class Result>
Result run(awaitable<Result> operation, asio::io_context& loop) {
  std::optional<Result> result;
  run(
      [](awaitable<Result> awaited, std::optional<Result>& kept) -> awaitable<void> {
        kept.emplace(co_await std::move(awaited));
      }(std::move(operation), result),
      loop);
  return *std::move(result);
}

template <class Result>
Result run(awaitable<Result> operation) {
  asio::io_context loop;
  return run(std::move(operation), loop);
}

}  // namespace ravant::test
