#pragma once

#include <QTimer>
#include <chrono>
#include <functional>

#include "desktop/loop/view_model.hpp"

namespace ravant::desktop {

/// What a view model reads again and again: one reading at a time, and another one where it was wanted meanwhile. The
/// last wish is never lost. An error is reported as those of every coroutine of the view model, and the next wish is
/// followed as ever.
///
/// A member of its view model, whose coroutine `read` makes. On the interface thread.
class Rereading {
 public:
  static constexpr std::chrono::milliseconds kRest{150};

  /// While announcements come one after another, `rest` lies between two readings.
  Rereading(ViewModel& owner, std::function<awaitable<void>()> read, std::chrono::milliseconds rest = kRest);

  /// Something was announced: at once, unless the latest reading is no longer ago than the rest.
  void soon();
  /// Somebody waits: at once, or right behind the reading that is under way.
  void now();
  /// Nothing is under way or wanted, and the rest is over: it can go.
  bool isIdle() const { return !isUnderWay_ && !rest_.isActive(); }

 private:
  void begin();
  awaitable<void> readOnce();

  ViewModel& owner_;
  std::function<awaitable<void>()> read_;
  QTimer rest_;
  bool isUnderWay_ = false;
  bool isWanted_ = false;
  bool isUrgent_ = false;
};

}  // namespace ravant::desktop
