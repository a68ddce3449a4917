#pragma once

#include <filesystem>
#include <string_view>

namespace ravant {

/// A folder for its owner alone among the temporary files. It goes, with what is in it, with its object, and where the
/// process ends before by `std::quick_exit`.
class ScratchFolder {
 public:
  /// Throws std::system_error.
  explicit ScratchFolder(std::string_view prefix);
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace ravant
