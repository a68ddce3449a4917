#pragma once

#include <utility>

namespace ravant::desktop {

/// A reading that is wanted again and again: one at a time, and once more where it was wanted meanwhile.
///
///     if (rereading_.want()) start(readUntilCurrent());
///
///     while (rereading_.goOn()) {
///       try { co_await read(); } catch (const std::exception&) { if (rereading_.giveUp()) throw; }
///     }
class Rereading {
 public:
  /// Whether the reading is to be started.
  bool want() {
    isWanted_ = true;
    return !std::exchange(isUnderWay_, true);
  }
  /// Whether to read; else the reading is over.
  bool goOn() {
    if (std::exchange(isWanted_, false)) return true;
    isUnderWay_ = false;
    return false;
  }
  /// After a failure: false where it is wanted again anyway, else the reading is over.
  bool giveUp() {
    isUnderWay_ = isWanted_;
    return !isUnderWay_;
  }

 private:
  bool isUnderWay_ = false;
  bool isWanted_ = false;
};

}  // namespace ravant::desktop
