#include "platform/text/duration_text.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>

namespace ravant::test {
namespace {

using namespace std::chrono_literals;

TEST(ShortDuration, hasTheTwoGreatestUnits) {
  EXPECT_EQ(shortDuration(-5s), "0 s");
  EXPECT_EQ(shortDuration(59'999ms), "59 s");
  EXPECT_EQ(shortDuration(60s), "1 min");
  EXPECT_EQ(shortDuration(102s), "1 min 42 s");
  EXPECT_EQ(shortDuration(3599s), "59 min 59 s");
  EXPECT_EQ(shortDuration(3659s), "1 h");
  EXPECT_EQ(shortDuration(2h + 5min + 59s), "2 h 5 min");
  EXPECT_EQ(shortDuration(50h), "50 h");
}

TEST(TokenCount, isRounded) {
  const std::pair<std::int64_t, const char*> counts[] = {
      {0, "0"},        {950, "950"},        {999, "999"},       {1'000, "1k"},         {1'049, "1k"},
      {1'250, "1.3k"}, {9'949, "9.9k"},     {9'950, "10k"},     {82'499, "82k"},       {999'499, "999k"},
      {999'500, "1M"}, {1'234'567, "1.2M"}, {9'990'000, "10M"}, {200'000'000, "200M"}, {INT64_MAX, "9223372036855M"}};
  for (const auto& [tokens, words] : counts) EXPECT_EQ(tokenCount(tokens), words) << tokens;
}

class ShortAge : public testing::Test {
 protected:
  ShortAge() {
    if (const char* zone = std::getenv("TZ")) before_ = zone;
  }
  ~ShortAge() override {
    before_ ? ::setenv("TZ", before_->c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
  }

  static void liveIn(const char* zone) {
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  static std::string age(const char* time, const char* now) {
    return shortAge(parseIso8601(time).value(), parseIso8601(now).value());
  }

 private:
  std::optional<std::string> before_;
};

TEST_F(ShortAge, goesByTheDaysOfTheTimeZone) {
  liveIn("XXX-3");                                // three hours before UTC
  const char* now = "2026-11-26T00:30:00+03:00";  // a Thursday
  EXPECT_EQ(age("2026-11-26T00:29:01+03:00", now), "now");
  EXPECT_EQ(age("2026-11-26T00:29:00+03:00", now), "1 min");
  EXPECT_EQ(age("2026-11-25T23:31:00+03:00", now), "59 min");
  EXPECT_EQ(age("2026-11-25T23:30:00+03:00", now), "yesterday");
  EXPECT_EQ(age("2026-11-25T00:00:00+03:00", now), "yesterday");
  EXPECT_EQ(age("2026-11-24T23:59:59+03:00", now), "Tue");
  EXPECT_EQ(age("2026-11-20T00:00:00+03:00", now), "Fri");
  EXPECT_EQ(age("2026-11-19T23:59:59+03:00", now), "19 Nov");
  EXPECT_EQ(age("2026-01-01T00:00:00+03:00", now), "1 Jan");
  EXPECT_EQ(age("2025-12-31T23:59:59+03:00", now), "31 Dec 2025");
  EXPECT_EQ(age("2026-11-26T00:00:00+03:00", "2026-11-26T23:59:59+03:00"), "23 h");
  EXPECT_EQ(age("2025-12-31T12:00:00+03:00", "2026-01-01T12:00:00+03:00"), "yesterday");
}

TEST_F(ShortAge, knowsDaysOfOtherLengths) {
  liveIn("CET-1CEST,M3.5.0,M10.5.0/3");
  // 29 March has 23 hours, 25 October 25.
  EXPECT_EQ(age("2026-03-28T22:30:00+01:00", "2026-03-30T00:10:00+02:00"), "Sat");
  EXPECT_EQ(age("2026-03-29T00:10:00+01:00", "2026-03-29T23:50:00+02:00"), "22 h");
  EXPECT_EQ(age("2026-10-25T00:00:00+02:00", "2026-10-25T23:59:00+01:00"), "24 h");
  EXPECT_EQ(age("2026-10-25T23:30:00+01:00", "2026-10-26T00:40:00+01:00"), "yesterday");
}

TEST_F(ShortAge, ofWhatIsToComeIsNowOrItsDay) {
  liveIn("UTC0");
  const char* now = "2026-11-26T23:00:00Z";
  EXPECT_EQ(age("2026-11-26T23:00:01Z", now), "now");
  EXPECT_EQ(age("2026-11-27T22:59:59Z", now), "now");
  EXPECT_EQ(age("2026-11-28T00:00:00Z", now), "28 Nov");
  EXPECT_EQ(age("2027-01-02T00:00:00Z", now), "2 Jan 2027");
}

}  // namespace
}  // namespace ravant::test
