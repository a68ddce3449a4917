#pragma once

#include <memory>
#include <set>
#include <utility>

#include "platform/async/signal.hpp"

namespace ravant {

/// Lets those who want the same thing do it one after another. Of one strand; outlives the turns.
template <class Key>
class Turns {
 public:
  /// `changed` is notified at the end of each turn.
  explicit Turns(Signal& changed) : changed_(changed) {}

  /// Lasts until it is destroyed.
  class Turn {
   public:
    Turn(Turns& turns, Key key) : turns_(turns), key_(std::move(key)) { turns_.taken_.insert(key_); }
    ~Turn() {
      turns_.taken_.erase(key_);
      turns_.changed_.notify();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    Turns& turns_;
    const Key key_;
  };

  /// Waits until nobody else has one for the key.
  awaitable<std::unique_ptr<Turn>> take(Key key) {
    while (taken_.contains(key)) co_await changed_.wait();
    co_return std::make_unique<Turn>(*this, std::move(key));
  }

  bool isAnyTaken() const { return !taken_.empty(); }

 private:
  Signal& changed_;
  std::set<Key> taken_;
};

}  // namespace ravant
