#include "platform/libraries/late_library.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace ravant::test {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

// The first function is there.
constexpr std::array kIncompleteFunctions = {"cos", "functionOfAnotherVersion"};
constexpr LateLibrary kIncomplete("libm.so.6", kIncompleteFunctions);
constexpr LateFunction<kIncomplete, "cos", double(double)> kCosine{};

constexpr LateLibrary kMissing("libOfNobody.so.1", {});
constexpr LateFunction<kMissing, "anything", void()> kAnything{};

TEST(LateLibrary, isMissedByItsFirstFunctionAlsoWhereAnotherOneIsMissing) {
  EXPECT_THAT([] { kAnything(); }, ThrowsMessage<LateLibraryError>(HasSubstr("libOfNobody.so.1")));
  for (int time = 0; time < 2; ++time) {
    EXPECT_THAT([] { kCosine(0); },
                ThrowsMessage<LateLibraryError>(std::string("libm.so.6 has no functionOfAnotherVersion")));
  }
}

}  // namespace
}  // namespace ravant::test
