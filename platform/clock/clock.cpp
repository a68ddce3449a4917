#include "platform/clock/clock.hpp"

#include <fmt/format.h>

namespace ravant {
namespace {

using namespace std::chrono;

/// Reads a text from its start.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool isAtEnd() const { return rest_.empty(); }

  bool skip(char expected) {
    if (rest_.empty() || rest_.front() != expected) return false;
    rest_.remove_prefix(1);
    return true;
  }

  std::optional<int> digit() {
    if (rest_.empty() || rest_.front() < '0' || rest_.front() > '9') return std::nullopt;
    const int value = rest_.front() - '0';
    rest_.remove_prefix(1);
    return value;
  }

  std::optional<int> digits(int count) {
    int value = 0;
    for (; count > 0; --count) {
      const auto next = digit();
      if (!next) return std::nullopt;
      value = value * 10 + *next;
    }
    return value;
  }

 private:
  std::string_view rest_;
};

std::optional<year_month_day> readDate(Reader& reader) {
  const auto y = reader.digits(4);
  if (!y || !reader.skip('-')) return std::nullopt;
  const auto m = reader.digits(2);
  if (!m || !reader.skip('-')) return std::nullopt;
  const auto d = reader.digits(2);
  if (!d) return std::nullopt;
  const year_month_day date{year{*y}, month{static_cast<unsigned>(*m)}, day{static_cast<unsigned>(*d)}};
  if (!date.ok()) return std::nullopt;
  return date;
}

std::optional<minutes> readHoursAndMinutes(Reader& reader) {
  const auto h = reader.digits(2);
  if (!h || *h > 23 || !reader.skip(':')) return std::nullopt;
  const auto m = reader.digits(2);
  if (!m || *m > 59) return std::nullopt;
  return hours{*h} + minutes{*m};
}

std::optional<microseconds> readSeconds(Reader& reader) {
  const auto s = reader.digits(2);
  if (!s || *s > 60) return std::nullopt;
  microseconds value = seconds{*s};
  if (!reader.skip('.')) return value;
  auto next = reader.digit();
  if (!next) return std::nullopt;
  for (int unit = 100'000; next; unit /= 10, next = reader.digit()) value += microseconds{*next * unit};
  return value;
}

std::optional<minutes> readOffset(Reader& reader) {
  if (reader.skip('Z')) return minutes{0};
  const bool isEast = reader.skip('+');
  if (!isEast && !reader.skip('-')) return std::nullopt;
  const auto offset = readHoursAndMinutes(reader);
  if (!offset) return std::nullopt;
  return isEast ? *offset : -*offset;
}

}  // namespace

Timestamp SystemClock::now() const { return floor<microseconds>(system_clock::now()); }

std::string iso8601(Timestamp time) {
  const auto midnight = floor<days>(time);
  const year_month_day date{midnight};
  const hh_mm_ss clock{time - midnight};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                     clock.minutes().count(), clock.seconds().count(), clock.subseconds().count());
}

std::optional<Timestamp> parseIso8601(std::string_view text) {
  Reader reader(text);
  const auto date = readDate(reader);
  if (!date || !reader.skip('T')) return std::nullopt;
  const auto hoursAndMinutes = readHoursAndMinutes(reader);
  if (!hoursAndMinutes || !reader.skip(':')) return std::nullopt;
  const auto second = readSeconds(reader);
  if (!second) return std::nullopt;
  const auto offset = readOffset(reader);
  if (!offset || !reader.isAtEnd()) return std::nullopt;
  const Timestamp time = sys_days{*date} + *hoursAndMinutes + *second - *offset;
  // An offset leads out of the years that have four digits.
  const year inUtc = year_month_day(floor<days>(time)).year();
  return inUtc >= year{0} && inUtc <= year{9999} ? std::optional(time) : std::nullopt;
}

}  // namespace ravant
