#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// The new contents of a file, written piece by piece beside it. Whoever reads the file finds the old contents until
/// `putInPlace`, and for good where that is never reached; what was written goes then, also where the process ends by
/// `std::quick_exit`. The file's mode is kept; a symbolic link stays one. All throw std::filesystem::filesystem_error.
class FileReplacement {
 public:
  /// The mode of a file that is not there yet: 0600, or what the user's mask leaves.
  enum class NewFile { forOwnerAlone, asUserWants };

  FileReplacement(const std::filesystem::path& path, NewFile newFile);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  void write(std::string_view contents);
  /// Durable when it returns.
  void putInPlace();

 private:
  void keepMode(NewFile newFile);

  std::filesystem::path target_;
  std::string path_;
  UniqueFd file_;
  bool isInPlace_ = false;
};

}  // namespace ravant
