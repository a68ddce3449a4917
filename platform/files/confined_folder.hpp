#pragma once

#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// A path that leads out of a confined folder.
class ConfinementError : public std::runtime_error {
 public:
  ConfinementError() : std::runtime_error("the path leads out of the folder") {}
};

/// What is not done with a file; `what()` is the reason alone: the system's words, or what kind of file it is.
class ConfinedFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Files that are reached from one folder by paths that cannot leave it, whatever symbolic links are on the way or are
/// put there meanwhile. Paths are relative to the folder, or absolute ones of the same folder.
///
/// Its operations block and throw `ConfinementError` and `ConfinedFileError`.
class ConfinedFolder {
 public:
  /// `kernel`: openat2(2) with RESOLVE_BENEATH, and as `stepwise` where the kernel has none. `stepwise`: no symbolic
  /// link is followed at all.
  enum class Resolution { kernel, stepwise };

  struct Entry {
    std::string name;
    bool isFolder;  ///< or a link to one that is followed
  };

  explicit ConfinedFolder(std::filesystem::path folder, Resolution resolution = Resolution::kernel)
      : folder_(std::move(folder)), resolution_(resolution) {}

  /// The path from the folder on, without `.` and `..`. Looks at no file: links are the other operations' concern.
  std::filesystem::path resolveConfined(std::string_view path) const;

  /// The first `limit` bytes of a regular file.
  std::string read(std::string_view path, std::size_t limit) const;

  /// Replaces a regular file at once, or makes it and the folders above it: whoever reads it finds the old contents or
  /// the new. Its mode is kept. A symbolic link stays one: its target is replaced.
  void write(std::string_view path, std::string_view contents) const;

  /// In the order of their names.
  std::vector<Entry> list(std::string_view path) const;

 private:
  /// Where a file's name stands.
  struct Place {
    UniqueFd folder;
    std::string name;
  };

  bool isFolder(const std::filesystem::path& relative) const;
  UniqueFd openFolderItself() const;
  UniqueFd open(const std::filesystem::path& relative, int flags) const;
  UniqueFd openStepwise(int folder, const std::filesystem::path& relative, int flags) const;
  UniqueFd openRegularFile(const std::filesystem::path& relative) const;
  UniqueFd makeFolders(const std::filesystem::path& relative) const;
  Place placeToWrite(std::filesystem::path relative) const;

  const std::filesystem::path folder_;
  const Resolution resolution_;
};

}  // namespace ravant
