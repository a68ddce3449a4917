#include "cli/command/past_time.hpp"

#include <fmt/format.h>

#include <charconv>
#include <ctime>
#include <optional>
#include <string>

#include "cli/output/command_error.hpp"

namespace ravant::cli {
namespace {

constexpr int kMost = 1'000'000;

std::optional<std::chrono::minutes> unitOf(std::string_view word) {
  using namespace std::chrono_literals;
  if (word == "m") return 1min;
  if (word == "h") return 1h;
  if (word == "d") return 24h;
  if (word == "w") return 7 * 24h;
  return std::nullopt;
}

std::optional<Timestamp> timeAgo(std::string_view word, Timestamp now) {
  int count = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
  if (error != std::errc() || count < 0 || count > kMost) return std::nullopt;
  const auto unit = unitOf(word.substr(static_cast<std::size_t>(end - word.data())));
  if (!unit) return std::nullopt;
  return now - std::chrono::minutes(unit->count() * count);
}

std::optional<Timestamp> dayBegin(const std::string& word) {
  std::tm day{};
  const char* end = ::strptime(word.c_str(), "%Y-%m-%d", &day);
  if (!end || *end != '\0') return std::nullopt;
  const int month = day.tm_mon;
  day.tm_isdst = -1;
  const std::time_t time = std::mktime(&day);
  if (time == -1 || day.tm_mon != month) return std::nullopt;  // there is no such day
  return Timestamp(std::chrono::seconds(time));
}

}  // namespace

Timestamp pastTime(std::string_view option, std::string_view word, Timestamp now) {
  if (const auto time = parseIso8601(word)) return *time;
  if (const auto time = timeAgo(word, now)) return *time;
  if (const auto time = dayBegin(std::string(word))) return *time;
  throw UsageError(
      fmt::format("{} takes a time (2026-11-21T10:00:00Z), a day (2026-11-21) or an age (90m, 3h, 2d, 1w), not \"{}\"",
                  option, word));
}

}  // namespace ravant::cli
