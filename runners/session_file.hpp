#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// A file that another program appends lines to, opened for reading alone and without a lock. Its operations block and
/// throw std::filesystem::filesystem_error.
class SessionFile {
 public:
  static constexpr std::size_t kLongestLine = 256 * 1024 * 1024;

  explicit SessionFile(std::filesystem::path path);

  std::int64_t inode() const { return inode_; }
  /// When it was opened.
  std::int64_t size() const { return size_; }

  /// The whole lines from the beginning on, each with its offset, without its line feed, until one is refused; of a
  /// line of more than `kLongestLine` bytes only its beginning. Says how far they reach: behind the last line feed,
  /// where none was refused.
  std::int64_t eachLine(const std::function<bool(std::string_view line, std::int64_t offset)>& take) const;

  /// Nothing where the file has no whole line.
  std::optional<std::string> firstLine() const;

  std::string read(std::int64_t offset, std::size_t length) const;

 private:
  [[noreturn]] void fail() const;

  std::filesystem::path path_;
  UniqueFd fd_;
  std::int64_t inode_ = 0;
  std::int64_t size_ = 0;
};

}  // namespace ravant
