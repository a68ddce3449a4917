#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "git/libgit2_handles.hpp"

namespace ravant::git {

class FreshIndex;

/// In bytes; larger ones count as binary.
inline constexpr git_off_t kMaxBlobSize = 52'428'800;

/// How a difference is to be made; the library's own options point into it.
class DiffOptions {
 public:
  /// Of everything where there are no paths. A path is one path with all that is below it, whatever characters of a
  /// pattern it has.
  DiffOptions(std::uint32_t flags, std::uint32_t contextLines, std::vector<std::string> paths);
  DiffOptions(const DiffOptions&) = delete;
  DiffOptions& operator=(const DiffOptions&) = delete;

  const git_diff_options* get() const { return &options_; }

 private:
  git_diff_options options_ = GIT_DIFF_OPTIONS_INIT;
  std::vector<std::string> paths_;
  std::vector<char*> words_;
};

/// For which files differ, and by how many lines.
DiffOptions countingOptions(std::vector<std::string> paths);
/// The same for differences to the working copy, where `changedSubmodules` looks after the submodules.
DiffOptions countingWithoutSubmodules(std::vector<std::string> paths);

/// Differences; those from HEAD begin with nothing where there is no commit. All throw `LibraryError`.
Diff diffHeadToIndex(git_repository* repository, const FreshIndex& index, const DiffOptions& options);
Diff diffIndexToWorkingCopy(git_repository* repository, const FreshIndex& index, const DiffOptions& options);
/// Of what is tracked.
Diff diffHeadToWorkingCopy(git_repository* repository, const DiffOptions& options);
/// Whatever the index says of the files: for those of which it does not say one thing. What is below the paths is there
/// too.
Diff diffHeadToFiles(git_repository* repository, const std::vector<std::string>& paths, std::uint32_t contextLines = 0);

/// Makes one change of a deletion and an addition of the same content.
void detectExactRenames(git_diff* diff);

}  // namespace ravant::git
