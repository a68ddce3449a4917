#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "platform/clock/clock.hpp"

namespace ravant {

/// `12 s`, `2:05 min`, `1:02:05 h`.
std::string durationText(std::chrono::microseconds duration);

/// `12 s ago`; the local time for what is older than a day.
std::string ageText(Timestamp time, Timestamp now);

/// `48 s`, `1 min 42 s`, `2 h 5 min`: the two greatest units, the second where it is not zero.
std::string shortDuration(std::chrono::microseconds duration);

/// How long ago, where there is little room, by the days of this machine's time zone: `now`, `12 min` within the hour,
/// `2 h` today, `yesterday`, `Mon` within the week, `14 Nov` within the year, `14 Nov 2025`. A time to come within a
/// day counts as now, for clocks differ; a later one is told by its day.
std::string shortAge(Timestamp time, Timestamp now);

/// `950`, `1.2k`, `82k`, `1.2M`: rounded.
std::string tokenCount(std::int64_t tokens);

}  // namespace ravant
