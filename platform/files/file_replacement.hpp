#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// The new contents of a file, written piece by piece beside it. Whoever reads the file finds the old contents until
/// `putInPlace`, and for good where that is never reached. What was written has no name until then and goes with the
/// process, however that ends; where the file system has no files without names (NFS), one that is killed leaves it
/// beside the file, under its name and six letters.
///
/// The file's mode is kept; one that is not there yet is for its owner alone (0600). A symbolic link stays one. All
/// throw std::filesystem::filesystem_error.
class FileReplacement {
 public:
  /// What is written to; `named` also where the other is impossible.
  enum class Kind { withoutName, named };

  explicit FileReplacement(const std::filesystem::path& path, Kind kind = Kind::withoutName);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  void write(std::string_view contents);
  /// Durable when it returns.
  void putInPlace();

 private:
  void openWithoutName();
  void openNamed();
  void giveName();
  void keepMode();
  void discard();

  std::filesystem::path target_;
  UniqueFd file_;
  std::string path_;  ///< beside the target; empty while it has no name, and when it is in place
};

}  // namespace ravant
