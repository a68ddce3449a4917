#pragma once

#include <chrono>

namespace ravant::desktop {

/// Keeps the interface's thread free for who uses it: says how long work that nobody waits for is to rest, so that this
/// thread is busy for a quarter of the time. What the work makes others do in it, as a view that lays out, counts too.
class Pace {
 public:
  /// The work begins.
  void begin();
  /// What is left of the rest since then; 0 when the next may begin.
  std::chrono::milliseconds rest() const;

 private:
  std::chrono::steady_clock::time_point start_{};
  std::chrono::nanoseconds used_{};
};

}  // namespace ravant::desktop
