#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>

#include "platform/async/async.hpp"
#include "platform/async/signal.hpp"

namespace ravant::cli {

/// The user's wish to stop: SIGINT, SIGTERM, or SIGHUP unless the program was started to ignore it.
///
/// The first one ends the program's children, within 3 s, and the program with status 130, unless an operation has
/// taken it over to stop in its own way; the second one always does, and kills the children. The same signal twice
/// within moments, as from a program that signals both its child and its group, is one. Bound to the interface thread.
class Interruption {
 public:
  explicit Interruption(asio::io_context& interfaceLoop);

  /// Handles signals until `stop`.
  awaitable<void> watch();
  void stop();

  /// Takes the first signal over: true when it or `request` came, false when `release` was called instead.
  awaitable<bool> requested();
  /// Asks the operation that took over to stop, as the first signal does.
  void request();
  void release();

 private:
  enum class State { endsProgram, takenOver, released, requested };

  [[noreturn]] void endProgram();

  asio::signal_set signals_;
  Signal changed_;
  State state_ = State::endsProgram;
  int lastSignal_ = 0;
  std::chrono::steady_clock::time_point lastSignalAt_;
};

}  // namespace ravant::cli
