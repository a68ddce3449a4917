#include "platform/process/stderr_collector.hpp"

#include <gtest/gtest.h>

namespace ravant::test {
namespace {

class StderrCollectorTest : public testing::TestWithParam<std::size_t> {};

TEST_P(StderrCollectorTest, keepsTheFirst4000AndTheLast12000Bytes) {
  std::string written;
  for (int i = 0; written.size() < 50'000; ++i) written += std::to_string(i) + " ";
  written.resize(50'000);

  StderrCollector collector;
  for (std::size_t i = 0; i < written.size(); i += GetParam()) {
    collector.append(std::string_view(written).substr(i, GetParam()));
  }
  EXPECT_EQ(collector.drain(), written.substr(0, 4000) + written.substr(38'000));
  EXPECT_EQ(collector.drain(), "");
  collector.append("again");
  EXPECT_EQ(collector.drain(), "again");
}

INSTANTIATE_TEST_SUITE_P(ChunkSizes, StderrCollectorTest, testing::Values(1, 999, 4000, 11'999, 50'000));

TEST(StderrCollectorTextTest, isValidUtf8) {
  StderrCollector collector;
  collector.append("caf\xC3");
  collector.append("\xA9 \xFF!");
  EXPECT_EQ(collector.drain(), "café \uFFFD!");
}

}  // namespace
}  // namespace ravant::test
