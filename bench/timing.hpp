#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <limits>
#include <vector>

namespace ravant::bench {

inline double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The shortest time of each, in seconds. Each is measured once in every round, so that what else the machine does
/// meanwhile hits all of them.
inline std::vector<double> shortestOf(int rounds, const std::vector<std::function<double()>>& measurements) {
  std::vector<double> shortest(measurements.size(), std::numeric_limits<double>::max());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t i = 0; i < measurements.size(); ++i) shortest[i] = std::min(shortest[i], measurements[i]());
  }
  return shortest;
}

}  // namespace ravant::bench
