#include "desktop/loop/pace.hpp"

#include <algorithm>
#include <ctime>

namespace ravant::desktop {
namespace {

constexpr int kShare = 4;
/// A frame; and what nobody takes for a standstill.
constexpr std::chrono::milliseconds kLeast{16};
constexpr std::chrono::milliseconds kMost{500};

std::chrono::nanoseconds processorTimeOfThread() {
  timespec time{};
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

void Pace::begin() {
  start_ = std::chrono::steady_clock::now();
  used_ = processorTimeOfThread();
}

std::chrono::milliseconds Pace::rest() const {
  const std::chrono::nanoseconds used = processorTimeOfThread() - used_;
  const std::chrono::nanoseconds whole = std::clamp<std::chrono::nanoseconds>(kShare * used, kLeast, kMost);
  const auto left = whole - (std::chrono::steady_clock::now() - start_);
  return std::max(std::chrono::milliseconds(0), std::chrono::ceil<std::chrono::milliseconds>(left));
}

}  // namespace ravant::desktop
