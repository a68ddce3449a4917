#pragma once

#include <boost/asio/strand.hpp>
#include <cassert>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
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
  /// result or exception. Cancellation does not reach it: to cancel is an operation of the actor.
  template <class Operation>
  auto onActor(Operation operation) {
    using Result = typename std::invoke_result_t<Operation&>::value_type;
    return carry<Result>(std::make_shared<Call<Operation, Result>>(shared_from_this(), std::move(operation)));
  }

  void assertOnActor() const { assert(strand_.running_in_this_thread()); }
  const Strand& strand() const { return strand_; }

 private:
  struct NoResult {};
  template <class Operation, class Result>
  struct Call {
    Call(std::shared_ptr<Actor> actor, Operation called) : self(std::move(actor)), operation(std::move(called)) {}

    std::shared_ptr<Actor> self;
    Operation operation;
    std::optional<std::conditional_t<std::is_void_v<Result>, NoResult, Result>> result;
  };

  /// Asio's part, compiled once: what is spawned has one type whatever an operation's own type is.
  static awaitable<void> spawn(Strand strand, std::move_only_function<awaitable<void>()> operation);

  template <class Result, class Call>
  static awaitable<Result> carry(std::shared_ptr<Call> call) {
    co_await spawn(call->self->strand_, [call]() -> awaitable<void> {
      if constexpr (std::is_void_v<Result>) {
        co_await call->operation();
      } else {
        call->result.emplace(co_await call->operation());
      }
    });
    if constexpr (!std::is_void_v<Result>) co_return *std::move(call->result);
  }

  Strand strand_;
};

}  // namespace ravant
