#include "platform/files/file_replacement.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>

#include "platform/files/private_file.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

class FileReplacementTest : public testing::Test {
 protected:
  unsigned modeOf(const char* name) const {
    struct stat status;
    return ::stat((folder / name).c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
  }
  std::ptrdiff_t files() const { return std::ranges::distance(std::filesystem::directory_iterator(folder.path())); }

  TemporaryFolder folder;
};

TEST_F(FileReplacementTest, showsTheNewContentsOnlyWhenAllIsThere) {
  const auto path = folder.write("file", "old");
  ::chmod(path.c_str(), 0640);
  std::filesystem::create_symlink("file", folder / "link");
  FileReplacement replacement(folder / "link", FileReplacement::NewFile::forOwnerAlone);
  replacement.write("new ");
  EXPECT_EQ(readFile(path), "old");
  replacement.write("words");
  replacement.putInPlace();
  EXPECT_EQ(readFile(path), "new words");
  EXPECT_EQ(modeOf("file"), 0640u);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
}

TEST_F(FileReplacementTest, makesANewFileWithTheModeThatIsAskedFor) {
  const mode_t mask = ::umask(027);
  for (const auto newFile : {FileReplacement::NewFile::forOwnerAlone, FileReplacement::NewFile::asUserWants}) {
    FileReplacement(folder / std::to_string(static_cast<int>(newFile)), newFile).putInPlace();
  }
  EXPECT_EQ(::umask(mask), 027u) << "the process's own stays";
  const std::string longest(255, 'x');
  FileReplacement(folder / longest, FileReplacement::NewFile::asUserWants).putInPlace();
  EXPECT_TRUE(std::filesystem::exists(folder / longest));
  EXPECT_EQ(modeOf("0"), 0600u);
  EXPECT_EQ(modeOf("1"), 0640u);
}

TEST_F(FileReplacementTest, leavesTheOldFileWhateverEndsIt) {
  const auto path = folder.write("file", "old");
  const auto begin = [&] {
    auto replacement = std::make_unique<FileReplacement>(path, FileReplacement::NewFile::asUserWants);
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
}

}  // namespace
}  // namespace ravant::test
