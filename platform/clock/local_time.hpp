#pragma once

#include <fmt/chrono.h>

#include <chrono>
#include <ctime>
#include <string>

#include "platform/clock/clock.hpp"

namespace ravant {

/// To the minute, as people at this machine read it. Any year that has four digits.
inline std::string localTime(Timestamp time) {
  const auto second = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch();
  return fmt::format("{:%Y-%m-%d %H:%M}", fmt::localtime(static_cast<std::time_t>(second.count())));
}

}  // namespace ravant
