#include "desktop/sidebar/own_use.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using testing::MatchesRegex;

TEST(OwnUseTest, TellsMemoryAndFilesAndReadsThemAgainWhenTheWindowIsLookedAt) {
  Workbench workbench;
  desktop::OwnUse use(workbench.window(), nullptr);
  ASSERT_TRUE(until([&] { return !use.words().isEmpty(); }));
  EXPECT_THAT(use.words().toStdString(), MatchesRegex("[1-9][0-9]* MB memory · [1-9][0-9]* [kM]B stored"));
  EXPECT_TRUE(use.words().startsWith(use.memoryWords() + QStringLiteral(" ·"))) << use.memoryWords().toStdString();

  const std::filesystem::path folder = workbench.application().locations().dataFolder / "more";
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "file") << 'x';
  std::filesystem::resize_file(folder / "file", 5'000'000'000);
  std::filesystem::create_symlink(folder / "file", folder / "link");
  workbench.window().setActive(true);
  EXPECT_TRUE(until([&] { return use.words().contains(QLatin1String("5 GB stored")); })) << use.words().toStdString();
}

}  // namespace
}  // namespace ravant::test
