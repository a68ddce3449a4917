#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <boost/asio/thread_pool.hpp>
#include <string>
#include <vector>

#include "git/git_status_reader.hpp"
#include "tests/git/test_repository.hpp"
#include "tests/support/run.hpp"

namespace ravant::test {

/// A reader that keeps its repository open between readings, and what it reads.
class StatusReaderTest : public testing::Test {
 protected:
  GitWorkingCopyDetails details(const std::filesystem::path& folder) {
    const auto reading = run(reader->workingCopyFiles(folder));
    EXPECT_EQ(reading.unsupportedReason, std::nullopt);
    return reading.value;
  }
  GitWorkingCopyStat stat(const std::filesystem::path& folder) { return read(reader->workingCopyStat(folder)); }
  GitFileHunks hunks(const std::filesystem::path& folder, const std::string& path) {
    return read(reader->hunks(folder, path));
  }
  std::vector<GitBranch> branches(const std::filesystem::path& folder) { return read(reader->branches(folder)); }

  /// Why none of the readings can be made; nothing where they can.
  std::string reason(const std::filesystem::path& folder) {
    const auto reading = run(reader->workingCopyFiles(folder));
    EXPECT_EQ(reading.value, GitWorkingCopyDetails{});
    EXPECT_EQ(run(reader->workingCopyStat(folder)).unsupportedReason, reading.unsupportedReason);
    EXPECT_EQ(run(reader->hunks(folder, "a")).unsupportedReason, reading.unsupportedReason);
    return reading.unsupportedReason.value_or("");
  }

  /// A line a change: side, status, path, counts.
  std::string listing(const std::filesystem::path& folder) {
    std::string lines;
    for (const GitFileEntry& entry : details(folder).entries()) {
      for (const auto& change : {entry.staged, entry.unstaged}) {
        if (!change) continue;
        lines += fmt::format("{} {}{} {}{} +{} -{}{}\n", change->staged ? "staged" : "unstaged",
                             change->isConflicted ? "conflicted " : "", rawValue(change->status),
                             change->oldPath ? *change->oldPath + " -> " : "", change->path, change->insertions,
                             change->deletions, change->isBinary ? " binary" : "");
      }
    }
    return lines;
  }

  asio::thread_pool pool{1};
  std::shared_ptr<GitStatusReader> reader = std::make_shared<GitStatusReader>(pool.get_executor());

 private:
  template <class Value>
  static Value read(awaitable<GitReading<Value>> operation) {
    const auto reading = run(std::move(operation));
    EXPECT_EQ(reading.unsupportedReason, std::nullopt);
    return reading.value;
  }
};

}  // namespace ravant::test
