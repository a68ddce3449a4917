#pragma once

#include <chrono>

namespace ravant {

/// One of the short transactions of a long operation, from its beginning; other writers get theirs in between.
class WriteTurn {
 public:
  /// Whether it has kept the others waiting for as long as it may.
  bool isOver() const;

  /// Between two turns: blocks until every writer that waits has looked whether it can write.
  static void letOthersWrite();

 private:
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

}  // namespace ravant
