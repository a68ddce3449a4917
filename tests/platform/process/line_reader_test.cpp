#include "platform/process/line_reader.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "platform/process/unique_fd.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAreArray;

class LineReaderTest : public testing::Test {
 protected:
  LineReaderTest() {
    std::array<int, 2> ends;
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    pipe_.assign(ends[0]);
    writeEnd_.reset(ends[1]);
  }

  void write(std::string_view text) {
    while (!text.empty()) {
      const ssize_t count = ::write(writeEnd_.get(), text.data(), text.size());
      ASSERT_GT(count, 0);
      text.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  std::optional<std::string> next() { return run(reader_.next(), loop_); }

  asio::io_context loop_;
  asio::posix::stream_descriptor pipe_{loop_};
  UniqueFd writeEnd_;
  LineReader reader_{pipe_};
};

struct Stream {
  std::string name;
  std::vector<std::string> pieces;
  std::vector<std::string> lines;
};

class LineReaderStreamTest : public LineReaderTest, public testing::WithParamInterface<Stream> {};

TEST_P(LineReaderStreamTest, givesItsLines) {
  std::vector<std::string> lines;
  const auto drain = [&] {
    while (const auto line = reader_.tryNext()) lines.emplace_back(*line);
  };
  for (const std::string& piece : GetParam().pieces) {
    write(piece);
    ASSERT_TRUE(run(reader_.fill(), loop_));
    drain();
  }
  writeEnd_.reset();
  EXPECT_FALSE(run(reader_.fill(), loop_));
  drain();
  EXPECT_THAT(lines, ElementsAreArray(GetParam().lines));
}

INSTANTIATE_TEST_SUITE_P(
    Streams, LineReaderStreamTest,
    testing::Values(Stream{"empty", {}, {}}, Stream{"severalInOneRead", {"a\nb\n\nc\n"}, {"a", "b", "", "c"}},
                    Stream{"splitLine", {"first ha", "lf", "\nsecond\nthi", "rd\n"}, {"first half", "second", "third"}},
                    Stream{"splitBeforeLineFeed", {"a", "\n", "\n"}, {"a", ""}},
                    Stream{"unfinishedLastLine", {"whole\npart"}, {"whole"}},
                    Stream{"carriageReturns", {"a\r\nb\r", "\n"}, {"a\r", "b\r"}},
                    Stream{"anyBytes", {std::string("\xff\xfe\0\xc3\n", 5)}, {std::string("\xff\xfe\0\xc3", 4)}}),
    [](const auto& info) { return info.param.name; });

TEST_F(LineReaderTest, readsAHugeLineBetweenSmallOnes) {
  std::string huge(64 * 1024 * 1024, 'x');
  for (std::size_t i = 0; i < huge.size(); i += 4096) huge[i] = static_cast<char>('a' + i / 4096 % 23);
  std::thread writer([&] {
    write("before\n" + huge + "\nafter\n");
    writeEnd_.reset();
  });
  EXPECT_EQ(next(), "before");
  EXPECT_TRUE(next() == huge);
  reader_.releaseMemory();
  EXPECT_EQ(next(), "after");
  EXPECT_EQ(next(), std::nullopt);
  writer.join();
}

TEST_F(LineReaderTest, readsAMillionLines) {
  constexpr int kLines = 1'000'000;
  std::thread writer([&] {
    std::string text;
    for (int i = 0; i < kLines; ++i) text += std::to_string(i) + "\n";
    write(text);
    writeEnd_.reset();
  });
  int expected = 0;
  int wrong = 0;
  const auto readAll = [&]() -> awaitable<void> {
    do {
      while (const auto line = reader_.tryNext()) wrong += *line == std::to_string(expected++) ? 0 : 1;
    } while (co_await reader_.fill());
  };
  run(readAll(), loop_);
  writer.join();
  EXPECT_EQ(expected, kLines);
  EXPECT_EQ(wrong, 0);
}

TEST_F(LineReaderTest, releasingMemoryKeepsWhatIsUnread) {
  write("first\nsecond\nthi");
  EXPECT_EQ(next(), "first");
  reader_.releaseMemory();
  EXPECT_EQ(next(), "second");
  reader_.releaseMemory();
  write("rd\n");
  EXPECT_EQ(next(), "third");
}

TEST_F(LineReaderTest, finishTakesWhatIsInThePipe) {
  write("read\nbuffered\n");
  EXPECT_EQ(next(), "read");
  write("in the pipe\nunfinished");
  reader_.finish();
  write("too late\n");
  EXPECT_EQ(next(), "buffered");
  EXPECT_EQ(next(), "in the pipe");
  EXPECT_EQ(next(), std::nullopt);
}

TEST_F(LineReaderTest, finishEndsAWaitingRead) {
  asio::post(loop_, [&] { asio::post(loop_, [&] { reader_.finish(); }); });
  EXPECT_EQ(next(), std::nullopt);
}

}  // namespace
}  // namespace ravant::test
