#pragma once

#include <atomic>

#include "platform/clock/clock.hpp"

namespace ravant::test {

/// A clock that stands still until it is moved, from any thread; or one that each look at it moves on.
class ManualClock final : public Clock {
 public:
  explicit ManualClock(Timestamp now, std::chrono::microseconds tick = {}) : now_(now), tick_(tick) {}

  Timestamp now() const override {
    Timestamp seen = now_;
    while (!now_.compare_exchange_weak(seen, seen + tick_)) {
    }
    return seen;
  }
  void set(Timestamp now) { now_ = now; }
  void advance(std::chrono::microseconds by) { now_ = now_.load() + by; }

 private:
  mutable std::atomic<Timestamp> now_;
  std::chrono::microseconds tick_;
};

}  // namespace ravant::test
