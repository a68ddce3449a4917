#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>

namespace ravant {

/// A file of up to 4 MiB beside the store that is given up when the disk is full, so that the store can still be
/// opened, what runs can be ended, and something can be removed. Usable from any thread.
class DiskReserve {
 public:
  explicit DiskReserve(std::filesystem::path file) : file_(std::move(file)) {}
  /// Keeps again what was given up, from the room that there is by then.
  ~DiskReserve();
  DiskReserve(const DiskReserve&) = delete;
  DiskReserve& operator=(const DiskReserve&) = delete;

  /// Makes the file as large as there is room for.
  void keep();
  /// False where there is none to give up.
  bool release();
  /// Keeps again what was given up, where the disk has twice its room; looks at the disk at most every few seconds.
  void keepAgain() {
    if (isReleased_) tryToKeepAgain();
  }

 private:
  using Time = std::chrono::steady_clock::time_point;
  void tryToKeepAgain();

  std::filesystem::path file_;
  std::atomic<bool> isReleased_ = false;
  std::atomic<Time> nextTry_ = Time();
};

}  // namespace ravant
