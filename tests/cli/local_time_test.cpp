#include "platform/clock/local_time.hpp"

#include <gmock/gmock.h>

#include "cli/command/past_time.hpp"

namespace ravant::cli {
namespace {

TEST(LocalTime, isThatOfAnyYear) {
  for (const std::string year : {"0001", "1677", "1969", "2262", "9999"}) {
    EXPECT_THAT(localTime(parseIso8601(year + "-07-01T12:00:00Z").value()), testing::StartsWith(year + "-0"));
    EXPECT_THAT(iso8601(pastTime("--since", year + "-07-02", Timestamp())), testing::StartsWith(year + "-07-0"));
  }
}

}  // namespace
}  // namespace ravant::cli
