#include "platform/log/log.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "platform/files/private_file.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

constinit const Log kLog("com.ravant.core", "Persistence");

std::vector<std::string> linesOf(const std::filesystem::path& path) {
  std::istringstream text(readFile(path).value_or(""));
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

class LogTest : public testing::Test {
 protected:
  ~LogTest() override { openLogFile("/dev/null"); }

  TemporaryFolder folder_;
  std::filesystem::path logs_ = folder_ / "state/logs";
};

TEST_F(LogTest, writesOneLineARecord) {
  openLogFile(logs_, LogLevel::info);
  kLog.debug("not {}", "wanted");
  kLog.info("x {}", 1);
  kLog.error("{}", "first\nsecond\r\t\x1B[31m\xFF");
  const std::string start = "....-..-..T..:..:..\\.......Z ";
  const std::string voice = " \\[com\\.ravant\\.core:Persistence\\] \\[" + std::to_string(::getpid()) + "\\] ";
  EXPECT_THAT(linesOf(logs_ / "ravant.log"),
              ElementsAre(MatchesRegex(start + "info" + voice + "x 1"),
                          MatchesRegex(start + "error" + voice + "first\\\\nsecond␍\\\\t␛\\[31m�")));
}

TEST_F(LogTest, isForItsOwnerAlone) {
  openLogFile(logs_);
  kLog.info("x");
  struct stat folder, file;
  ASSERT_EQ(::stat(logs_.c_str(), &folder), 0);
  ASSERT_EQ(::stat((logs_ / "ravant.log").c_str(), &file), 0);
  EXPECT_EQ(folder.st_mode & 0777, 0700u);
  EXPECT_EQ(file.st_mode & 0777, 0600u);
}

TEST_F(LogTest, twoProcessesShareAndRotateIt) {
  const std::string message(60'000, 'x');
  const auto write = [&] {
    openLogFile(logs_);
    for (int i = 0; i < 150; ++i) kLog.info("{}", message);
  };
  const Forked first(write);
  const Forked second(write);
  EXPECT_TRUE(first.succeeds());
  EXPECT_TRUE(second.succeeds());

  const auto current = logs_ / "ravant.log";
  const auto old = logs_ / "ravant.1.log";
  constexpr std::uintmax_t kLimit = 5 * 1024 * 1024;
  EXPECT_LE(std::filesystem::file_size(current), kLimit);
  EXPECT_LE(std::filesystem::file_size(old), kLimit);
  EXPECT_GT(std::filesystem::file_size(old), kLimit / 2) << "a full file was rotated away, not a new one";
  for (const auto& file : {current, old}) {
    for (const auto& line : linesOf(file)) {
      EXPECT_TRUE(line.starts_with("20") && line.ends_with("] " + message)) << "torn: " << line.size();
    }
  }
}

TEST_F(LogTest, goesOnAfterItsFileWasRemoved) {
  openLogFile(logs_);
  kLog.info("lost");
  std::filesystem::remove(logs_ / "ravant.log");
  kLog.info("kept");
  EXPECT_THAT(linesOf(logs_ / "ravant.log"), ElementsAre(testing::EndsWith("kept")));
}

TEST_F(LogTest, aFullDiskOrABadFolderIsNoError) {
  makePrivateFolder(logs_);
  std::filesystem::create_symlink("/dev/full", logs_ / "ravant.log");
  openLogFile(logs_);
  kLog.error("lost");
  const auto file = folder_.write("file", "contents");
  openLogFile(file);
  kLog.error("lost");
  EXPECT_EQ(readFile(file), "contents");
}

TEST_F(LogTest, saysOnStandardErrorOnlyWhatIsAskedFor) {
  const auto output = folder_ / "stderr";
  const Forked program([&] {
    ::dup2(::open(output.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    kLog.error("before");
    logToStandardError(LogLevel::warning);
    kLog.info("below");
    kLog.warning("shown");
  });
  EXPECT_TRUE(program.succeeds());
  EXPECT_THAT(linesOf(output), ElementsAre(testing::EndsWith(" shown")));
}

}  // namespace
}  // namespace ravant::test
