#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "platform/async/async.hpp"
#include "platform/async/signal.hpp"
#include "platform/process/child_process.hpp"
#include "platform/process/stderr_collector.hpp"

namespace ravant {

struct CaptureOptions {
  /// What becomes of a program that prints more than `outputLimit`.
  enum class Excess { dropped, ended };
  /// What becomes of what a program leaves in the background when it ends by itself. `detachedLeft`: what has a session
  /// of its own goes on, the rest is ended.
  enum class Background { ended, detachedLeft, left };

  LaunchOptions launch;
  std::chrono::milliseconds limit;  ///< from the launch on; the program is ended then
  std::size_t outputLimit;          ///< bytes of standard output that are kept
  Excess excess = Excess::dropped;
  Background background = Background::ended;
};

/// A program that runs to its end while its output is kept. When it has ended, nothing of its tree is left that may be
/// ended, unless it ended by itself and may leave something. On one strand.
class CapturedProcess {
 public:
  /// Launches it. Throws std::system_error.
  CapturedProcess(CaptureOptions options, const any_io_executor& strand);

  /// Returns when it is gone. To be called once.
  awaitable<void> run();
  /// Ends it: `run` returns within 4 s, also where the kernel or the lack of permission keeps a process alive.
  void stop() { changeTo(State::stopped); }

  ExitStatus exitStatus() { return child_->exitStatus().value_or(ExitStatus{}); }
  bool hasTimedOut() const { return state_ == State::timedOut; }
  bool wasStopped() const { return state_ == State::stopped; }
  bool hasTooMuchOutput() const { return hasTooMuchOutput_; }
  /// The first `outputLimit` bytes, as they came.
  std::string takeOutput() { return std::move(output_); }
  /// Of those, what had come within `limit`: a program that is ended may still print.
  std::string_view outputInTime() const { return std::string_view(output_).substr(0, sizeInTime_); }
  std::string drainError() { return error_.drain(); }

 private:
  /// `exited`: by itself; the ends that follow are those it is brought to.
  enum class State { running, exited, timedOut, stopped, flooded };

  void changeTo(State next);
  void takeIn(std::string_view piece);
  template <class Take>
  awaitable<void> readAll(asio::posix::stream_descriptor* pipe, Take take);
  awaitable<void> watchExit();
  awaitable<void> watchEnd();
  awaitable<void> readToEnd();
  awaitable<void> endTree();

  CaptureOptions options_;
  std::unique_ptr<ChildProcess> child_;
  Signal changed_;  ///< after any change of the state below
  Signal::Deadline deadline_;
  State state_ = State::running;
  int openPipes_;
  bool isReadingOver_ = false;
  bool hasTooMuchOutput_ = false;
  std::string output_;
  std::size_t sizeInTime_ = std::string::npos;
  StderrCollector error_;
};

}  // namespace ravant
