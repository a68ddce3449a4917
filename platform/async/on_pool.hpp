#pragma once

#include <boost/asio/bind_cancellation_slot.hpp>
#include <type_traits>
#include <utility>

#include "platform/async/async.hpp"

namespace ravant {

/// Runs what blocks on a pool where that is allowed, and resumes the caller on its own executor with the result or
/// exception. Whoever waits cannot cancel it.
template <class Function>
awaitable<std::invoke_result_t<const Function&>> onPool(any_io_executor pool, Function function) {
  return asio::co_spawn(
      std::move(pool),
      [function = std::move(function)]() -> awaitable<std::invoke_result_t<const Function&>> { co_return function(); },
      asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
}

}  // namespace ravant
