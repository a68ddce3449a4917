#pragma once

#include <filesystem>
#include <string_view>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// A file of records that several processes append to. When it is full it becomes the old file, replacing the one
/// before. Failures are silent: the record is lost, and the next one tries again.
class LogFile {
 public:
  static constexpr std::size_t kMaxSize = 5 * 1024 * 1024;

  /// Opens `ravant.log` in an existing folder.
  explicit LogFile(const std::filesystem::path& folder);

  /// `record` ends with a line break and is much smaller than the file.
  void append(std::string_view record) noexcept;

 private:
  void open() noexcept;
  bool isFull(std::size_t recordSize) const noexcept;
  bool isCurrent() const noexcept;
  void rotate() noexcept;

  std::filesystem::path folder_;
  std::filesystem::path current_;
  std::filesystem::path old_;
  UniqueFd file_;
};

}  // namespace ravant
