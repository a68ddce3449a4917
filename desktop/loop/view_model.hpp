#pragma once

#include <cstdint>
#include <memory>

#include "desktop/loop/interface_loop.hpp"

namespace ravant::desktop {

/// Tells whether an answer is still the one that is waited for, where the question can change meanwhile.
class Turns {
 public:
  class Turn {
    friend class Turns;
    explicit Turn(std::uint64_t number) : number_(number) {}
    std::uint64_t number_;
  };

  /// From here on, older ones are over.
  Turn take() { return Turn(++latest_); }
  bool isLatest(Turn turn) const { return turn.number_ == latest_; }

 private:
  std::uint64_t latest_ = 0;
};

/// What every object has that QML shows and that awaits the core: coroutines that end with it.
///
/// Inherited beside a `QObject`. On the interface thread.
class ViewModel {
 public:
  ViewModel(const ViewModel&) = delete;
  ViewModel& operator=(const ViewModel&) = delete;

 protected:
  ViewModel() = default;
  ~ViewModel() = default;

  /// Runs a member coroutine on the interface's loop, unless the object is gone before its first step. What it throws
  /// is announced by `InterfaceLoop::failed`.
  void start(awaitable<void> operation) { InterfaceLoop::instance().spawn(whileAlive(life_, std::move(operation))); }

  /// Every wait inside such a coroutine: `co_await alive(operation)`. Where the object is gone when the operation is
  /// over, the coroutine ends there, whatever came of it.
  template <class T>
  awaitable<T> alive(awaitable<T> operation) {
    return followed(life_, std::move(operation));
  }

 private:
  friend class Rereading;

  struct Life {};
  struct Gone {};

  static awaitable<void> whileAlive(std::weak_ptr<Life> life, awaitable<void> operation) {
    if (life.expired()) co_return;
    try {
      co_await std::move(operation);
    } catch (const Gone&) {
    }
  }

  template <class T>
  static awaitable<T> followed(std::weak_ptr<Life> life, awaitable<T> operation) {
    try {
      if constexpr (std::is_void_v<T>) {
        co_await std::move(operation);
        if (life.expired()) throw Gone();
      } else {
        T result = co_await std::move(operation);
        if (life.expired()) throw Gone();
        co_return result;
      }
    } catch (...) {
      if (life.expired()) throw Gone();
      throw;
    }
  }

  std::shared_ptr<Life> life_ = std::make_shared<Life>();
};

}  // namespace ravant::desktop
