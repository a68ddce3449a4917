#include "cli/output/duration_text.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "cli/output/local_time.hpp"

namespace ravant::cli {

std::string durationText(std::chrono::microseconds duration) {
  const auto seconds = std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::seconds>(duration).count());
  if (seconds < 60) return fmt::format("{} s", seconds);
  if (seconds < 3'600) return fmt::format("{}:{:02} min", seconds / 60, seconds % 60);
  return fmt::format("{}:{:02}:{:02} h", seconds / 3'600, seconds / 60 % 60, seconds % 60);
}

std::string ageText(Timestamp time, Timestamp now) {
  if (now - time < std::chrono::days(1)) return durationText(now - time) + " ago";
  return localTime(time);
}

}  // namespace ravant::cli
