#include "desktop/loop/pace.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

namespace ravant::test {
namespace {

using desktop::Pace;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/// How long there has been work, and how long anything.
struct Moment {
  nanoseconds busy = now(CLOCK_THREAD_CPUTIME_ID);
  nanoseconds all = now(CLOCK_MONOTONIC);

  static nanoseconds now(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
  }
};

nanoseconds restBehind(nanoseconds work, nanoseconds since) {
  return std::max(nanoseconds(0), std::clamp<nanoseconds>(4 * work, milliseconds(16), milliseconds(500)) - since);
}

// Between what is right at the earliest and at the latest moment at which it can have looked.
TEST(PaceTest, WorksForAQuarterOfTheTimeAndRestsNeitherShortNorLong) {
  for (const milliseconds length : {milliseconds(0), milliseconds(20), milliseconds(60), milliseconds(150)}) {
    Pace pace;
    const Moment before;
    pace.begin();
    const Moment begun;
    while (Moment().busy - begun.busy < length) continue;
    const Moment worked;
    const milliseconds rest = pace.rest();
    const Moment after;
    EXPECT_GE(rest, restBehind(worked.busy - begun.busy, after.all - before.all)) << length.count();
    EXPECT_LE(rest, restBehind(after.busy - before.busy, worked.all - begun.all) + milliseconds(1)) << length.count();
  }
}

TEST(PaceTest, HasNothingToRestFromAtFirst) { EXPECT_EQ(Pace().rest(), milliseconds(0)); }

}  // namespace
}  // namespace ravant::test
