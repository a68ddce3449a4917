#pragma once

#include <chrono>
#include <string>

#include "platform/clock/clock.hpp"

namespace ravant::cli {

/// `12 s`, `2:05 min`, `1:02:05 h`.
std::string durationText(std::chrono::microseconds duration);

/// `12 s ago`; the local time for what is older than a day.
std::string ageText(Timestamp time, Timestamp now);

}  // namespace ravant::cli
