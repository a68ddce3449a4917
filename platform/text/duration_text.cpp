#include "platform/text/duration_text.hpp"

#include <fmt/chrono.h>

#include <algorithm>
#include <ctime>

#include "platform/clock/local_time.hpp"

namespace ravant {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;

std::int64_t wholeSeconds(std::chrono::microseconds duration) {
  return std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::seconds>(duration).count());
}

std::string twoUnits(std::int64_t greater, const char* unit, std::int64_t lesser, const char* lesserUnit) {
  if (lesser == 0) return fmt::format("{} {}", greater, unit);
  return fmt::format("{} {} {} {}", greater, unit, lesser, lesserUnit);
}

std::tm local(Timestamp time) {
  const auto second = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch();
  return fmt::localtime(static_cast<std::time_t>(second.count()));
}

std::chrono::sys_days dayOf(const std::tm& time) {
  return std::chrono::year(time.tm_year + 1900) / (time.tm_mon + 1) / time.tm_mday;
}

/// A number of at least a thousandth of the `unit`, with one decimal below ten.
std::string inUnits(std::int64_t number, std::int64_t unit, char letter) {
  if (const std::int64_t tenths = number < 10 * unit ? (number * 10 + unit / 2) / unit : 100; tenths < 100) {
    return tenths % 10 == 0 ? fmt::format("{}{}", tenths / 10, letter)
                            : fmt::format("{}.{}{}", tenths / 10, tenths % 10, letter);
  }
  return fmt::format("{}{}", number / unit + (number % unit >= unit / 2 ? 1 : 0), letter);
}

}  // namespace

std::string durationText(std::chrono::microseconds duration) {
  const std::int64_t seconds = wholeSeconds(duration);
  if (seconds < 60) return fmt::format("{} s", seconds);
  if (seconds < 3'600) return fmt::format("{}:{:02} min", seconds / 60, seconds % 60);
  return fmt::format("{}:{:02}:{:02} h", seconds / 3'600, seconds / 60 % 60, seconds % 60);
}

std::string ageText(Timestamp time, Timestamp now) {
  if (now - time < days(1)) return durationText(now - time) + " ago";
  return localTime(time);
}

std::string shortDuration(std::chrono::microseconds duration) {
  const std::int64_t seconds = wholeSeconds(duration);
  if (seconds < 60) return fmt::format("{} s", seconds);
  if (seconds < 3'600) return twoUnits(seconds / 60, "min", seconds % 60, "s");
  return twoUnits(seconds / 3'600, "h", seconds / 60 % 60, "min");
}

std::string shortAge(Timestamp time, Timestamp now) {
  const auto age = now - time;
  if (age < minutes(1) && age > -days(1)) return "now";
  if (age >= minutes(1) && age < hours(1)) return fmt::format("{} min", age / minutes(1));
  const std::tm then = local(time);
  const std::tm present = local(now);
  const auto daysAgo = dayOf(present) - dayOf(then);
  if (daysAgo == days(0)) return fmt::format("{} h", age / hours(1));
  if (daysAgo == days(1)) return "yesterday";
  if (daysAgo > days(0) && daysAgo < days(7)) return fmt::format("{:%a}", then);
  if (then.tm_year == present.tm_year) return fmt::format("{} {:%b}", then.tm_mday, then);
  return fmt::format("{} {:%b} {}", then.tm_mday, then, then.tm_year + 1900);
}

std::string tokenCount(std::int64_t tokens) {
  constexpr std::int64_t kThousand = 1'000;
  constexpr std::int64_t kMillion = 1'000'000;
  if (tokens < kThousand) return fmt::format("{}", tokens);
  if (tokens < kMillion - kThousand / 2) return inUnits(tokens, kThousand, 'k');
  return inUnits(tokens, kMillion, 'M');
}

}  // namespace ravant
