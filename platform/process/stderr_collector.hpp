#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

namespace ravant {

/// Keeps the beginning and the most recent part of a standard error output, however long it is. Usable from any thread.
class StderrCollector {
 public:
  static constexpr std::size_t kHeadCap = 4000;   ///< bytes
  static constexpr std::size_t kTailCap = 12000;  ///< bytes

  void append(std::string_view chunk);
  /// What was kept since the last call, as valid UTF-8.
  std::string drain();

 private:
  std::mutex mutex_;
  std::string head_;
  std::string tail_;
};

}  // namespace ravant
