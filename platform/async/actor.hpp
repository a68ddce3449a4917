#pragma once

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/strand.hpp>
#include <cassert>
#include <memory>
#include <utility>

#include "platform/async/async.hpp"

namespace ravant {

/// An object whose operations run one at a time on its own strand.
///
/// A public operation is a plain function that takes its arguments by value and returns
/// `onActor([...]() -> awaitable<T> {...})`; it is not a coroutine itself. Another operation can
/// run at every `co_await` inside, so what was read before one is read again after it.
///
/// Always owned by a `std::shared_ptr`: a running operation keeps its actor alive. Not usable from
/// a constructor.
class Actor : public std::enable_shared_from_this<Actor> {
 public:
  explicit Actor(any_io_executor pool) : strand_(asio::make_strand(std::move(pool))) {}
  virtual ~Actor() = default;
  Actor(const Actor&) = delete;
  Actor& operator=(const Actor&) = delete;

 protected:
  using Strand = asio::strand<any_io_executor>;

  /// Runs `operation` on the strand and resumes the caller on the caller's own executor with its
  /// result or exception.
  ///
  /// The empty cancellation slot keeps Asio from forwarding a cancellation across executors, which
  /// is a use after free there; to cancel is an operation of the actor.
  template <class Operation>
  auto onActor(Operation operation) {
    return asio::co_spawn(
        strand_, [self = shared_from_this(), operation = std::move(operation)]() mutable { return operation(); },
        asio::bind_cancellation_slot(asio::cancellation_slot(), use_awaitable));
  }

  void assertOnActor() const { assert(strand_.running_in_this_thread()); }
  const Strand& strand() const { return strand_; }

 private:
  Strand strand_;
};

}  // namespace ravant
