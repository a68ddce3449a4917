#include "platform/clock/clock.hpp"

#include <gtest/gtest.h>

namespace ravant::test {
namespace {

using namespace std::chrono;

constexpr Timestamp kTime = sys_days{2026y / November / 21} + 9h + 14min + 16s + 123456us;

struct TimeCase {
  std::string name;
  std::string text;
  std::optional<Timestamp> expected;
};

class ParseIso8601Test : public testing::TestWithParam<TimeCase> {};

TEST_P(ParseIso8601Test, readsOrRefuses) { EXPECT_EQ(parseIso8601(GetParam().text), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(, ParseIso8601Test,
                         testing::ValuesIn(std::vector<TimeCase>{
                             {"microseconds", "2026-11-21T09:14:16.123456Z", kTime},
                             {"nanosecondsAreCut", "2026-11-21T09:14:16.123456999Z", kTime},
                             {"milliseconds", "2026-11-21T09:14:16.123Z", kTime - 456us},
                             {"noFraction", "2026-11-21T09:14:16Z", kTime - 123456us},
                             {"east", "2026-11-21T11:44:16.123456+02:30", kTime},
                             {"westOverMidnight", "2026-11-20T23:14:16.123456-10:00", kTime},
                             {"leapDay", "2024-02-29T00:00:00Z", sys_days{2024y / February / 29}},
                             {"before1970", "1969-12-31T23:59:59.5Z", Timestamp(-500ms)},
                             {"noSuchDay", "2026-02-29T00:00:00Z", std::nullopt},
                             {"noSuchHour", "2026-11-21T24:00:00Z", std::nullopt},
                             {"noZone", "2026-11-21T09:14:16", std::nullopt},
                             {"emptyFraction", "2026-11-21T09:14:16.Z", std::nullopt},
                             {"dateOnly", "2026-11-21", std::nullopt},
                             {"spaceBetween", "2026-11-21 09:14:16Z", std::nullopt},
                             {"somethingAfter", "2026-11-21T09:14:16Z ", std::nullopt},
                             {"beforeTheYears", "0000-01-01T00:00:00+00:01", std::nullopt},
                             {"behindTheYears", "9999-12-31T23:59:59-00:01", std::nullopt},
                             {"empty", "", std::nullopt},
                         }),
                         [](const auto& info) { return info.param.name; });

TEST(Iso8601Test, writesAllDigits) {
  EXPECT_EQ(iso8601(kTime), "2026-11-21T09:14:16.123456Z");
  EXPECT_EQ(iso8601(Timestamp(1us)), "1970-01-01T00:00:00.000001Z");
  EXPECT_EQ(iso8601(Timestamp(-1us)), "1969-12-31T23:59:59.999999Z");
}

}  // namespace
}  // namespace ravant::test
