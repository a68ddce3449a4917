#pragma once

#include <chrono>
#include <string>

namespace ravant::cli {

/// `12 s`, `2:05 min`, `1:02:05 h`.
std::string durationText(std::chrono::microseconds duration);

}  // namespace ravant::cli
