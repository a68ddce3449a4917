#include "platform/files/private_file.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

TEST(PrivateFileTest, readsBackWhatItReplaced) {
  const TemporaryFolder folder;
  const auto path = folder / "file";
  EXPECT_EQ(readFile(path), std::nullopt);
  for (const std::size_t size : {0u, 1u, 65'536u, 200'000u}) {
    const std::string contents(size, 'x');
    replaceFile(path, contents);
    EXPECT_EQ(readFile(path), contents);
  }
  EXPECT_THROW(readFile(folder.path()), std::filesystem::filesystem_error);
}

TEST(PrivateFileTest, aFailureLeavesNothingBehind) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "taken");
  EXPECT_THROW(replaceFile(folder / "taken", "x"), std::filesystem::filesystem_error);
  EXPECT_EQ(std::ranges::distance(std::filesystem::directory_iterator(folder.path())), 1);
}

TEST(PrivateFileTest, makesOnlyMissingFoldersPrivate) {
  const TemporaryFolder folder;
  ::chmod(folder.path().c_str(), 0755);
  makePrivateFolder(folder / "a/b/");
  const auto modeOf = [&](const char* name) {
    struct stat status;
    return ::stat((folder / name).c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
  };
  EXPECT_EQ(modeOf("."), 0755u);
  EXPECT_EQ(modeOf("a"), 0700u);
  EXPECT_EQ(modeOf("a/b"), 0700u);
  EXPECT_THROW(makePrivateFolder(folder.write("file", "") / "x"), std::filesystem::filesystem_error);
}

TEST(PrivateFileTest, aLoopOfLinksIsAnError) {
  const TemporaryFolder folder;
  std::filesystem::create_symlink("b", folder / "a");
  std::filesystem::create_symlink("a", folder / "b");
  EXPECT_THROW(linkTarget(folder / "a"), std::filesystem::filesystem_error);
  EXPECT_THROW(replaceFile(folder / "a", "x"), std::filesystem::filesystem_error);
}

}  // namespace
}  // namespace ravant::test
