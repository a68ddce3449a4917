#include "platform/files/file_replacement.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>

#include "platform/files/private_file.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

class FileReplacementTest : public testing::TestWithParam<FileReplacement::Kind> {
 protected:
  unsigned modeOf(const char* name) const {
    struct stat status;
    return ::stat((folder / name).c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
  }
  bool hasFilesWithoutNames() const {
    return static_cast<bool>(UniqueFd(::open(folder.path().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600)));
  }
  std::ptrdiff_t files() const { return std::ranges::distance(std::filesystem::directory_iterator(folder.path())); }

  TemporaryFolder folder;
};

TEST_P(FileReplacementTest, showsTheNewContentsOnlyWhenAllIsThere) {
  const auto path = folder.write("file", "old");
  ::chmod(path.c_str(), 0640);
  std::filesystem::create_symlink("file", folder / "link");
  FileReplacement replacement(folder / "link", GetParam());
  replacement.write("new ");
  EXPECT_EQ(readFile(path), "old");
  replacement.write("words");
  replacement.putInPlace();
  EXPECT_EQ(readFile(path), "new words");
  EXPECT_EQ(modeOf("file"), 0640u);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_EQ(files(), 2);
}

TEST_P(FileReplacementTest, makesANewFileForItsOwnerAlone) {
  const mode_t mask = ::umask(0);
  const std::string longest(255, 'x');
  FileReplacement(folder / longest, GetParam()).putInPlace();
  ::umask(mask);
  EXPECT_EQ(modeOf(longest.c_str()), 0600u);
}

TEST_P(FileReplacementTest, leavesTheOldFileWhateverEndsIt) {
  const auto path = folder.write("file", "old");
  const auto begin = [&] {
    auto replacement = std::make_unique<FileReplacement>(path, GetParam());
    replacement->write("new");
    return replacement;
  };
  begin();
  EXPECT_EQ(files(), 1);
  EXPECT_TRUE(Forked([&] {
                const auto unfinished = begin();
                std::quick_exit(0);
              }).succeeds());
  EXPECT_EQ(files(), 1) << "it is taken away where the user interrupts the program";
  EXPECT_FALSE(Forked([&] {
                 const auto unfinished = begin();
                 std::raise(SIGKILL);
               }).succeeds());
  EXPECT_EQ(readFile(path), "old");
  if (GetParam() == FileReplacement::Kind::withoutName && hasFilesWithoutNames()) {
    EXPECT_EQ(files(), 1) << "nothing is left of it";
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, FileReplacementTest,
                         testing::Values(FileReplacement::Kind::withoutName, FileReplacement::Kind::named));

}  // namespace
}  // namespace ravant::test
