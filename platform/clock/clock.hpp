#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace ravant {

using Timestamp = std::chrono::sys_time<std::chrono::microseconds>;

/// What time it is. May be asked from any thread.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual Timestamp now() const = 0;
};

class SystemClock final : public Clock {
 public:
  Timestamp now() const override;
};

/// `2026-11-21T09:14:16.123456Z`: UTC, always six digits of a second. Years 0 to 9999.
std::string iso8601(Timestamp time);

/// A date and time with `T` between them, a fraction of any length or none (cut to microseconds), and `Z` or an offset
/// such as `+02:00`.
std::optional<Timestamp> parseIso8601(std::string_view text);

}  // namespace ravant
