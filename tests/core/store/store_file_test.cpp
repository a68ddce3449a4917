#include "core/store/store_file.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

#include "core/store/disk_reserve.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

TEST(StoreFile, leavesNoPrivateCopyWhereTheProgramLeavesAtOnce) {
  const TemporaryFolder folder;
  const auto copy = folder / "copy";
  const auto temporary = folder / "temporary";
  for (const auto& made : {copy, temporary}) std::filesystem::create_directory(made);
  {
    sqlite::Database writer(folder / "store.sqlite");
    writer.useWriteAheadLog();
    writer.execute("CREATE TABLE kept (a)");
    for (const char* name : {"store.sqlite", "store.sqlite-wal"}) std::filesystem::copy(folder / name, copy / name);
  }
  std::filesystem::create_symlink("nowhere", copy / "store.sqlite-shm");  // which SQLite does not follow

  const Forked reader([&] {
    ::setenv("TMPDIR", temporary.c_str(), 1);
    DiskReserve reserve(copy / "store.reserve");
    const StoreFile file(copy / "store.sqlite", std::nullopt, reserve);
    const bool isCopied = !std::filesystem::is_empty(temporary);
    const bool isRead = file.connect().prepare("SELECT 1 FROM sqlite_schema WHERE name = 'kept'").query().step();
    std::quick_exit(isCopied && isRead ? 0 : 1);
  });
  EXPECT_TRUE(reader.succeeds());
  EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

}  // namespace
}  // namespace ravant::test
