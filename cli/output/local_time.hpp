#pragma once

#include <fmt/chrono.h>

#include <chrono>
#include <string>

namespace ravant::cli {

/// To the minute, as people at this machine read it.
inline std::string localTime(std::chrono::system_clock::time_point time) {
  return fmt::format("{:%Y-%m-%d %H:%M}", fmt::localtime(std::chrono::system_clock::to_time_t(time)));
}

}  // namespace ravant::cli
