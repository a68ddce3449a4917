#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "git/libgit2_handles.hpp"

namespace ravant::git {

/// Tracked files that may differ from the index, sorted: all that do, and a few that do not, since their content is not
/// looked at.
struct FilesThatMayDiffer {
  std::vector<std::string> paths;
  std::vector<std::string> retyped;  ///< a file that became a link, or the other way round
};

/// A repository's index as it is on disk now. The repository outlives it. All members throw `LibraryError`.
class FreshIndex {
 public:
  explicit FreshIndex(git_repository* repository);

  git_index* get() const { return handle_.get(); }
  /// Whether it is tracked, whatever versions of it there are.
  bool has(const std::string& path) const { return git_index_find(nullptr, get(), path.c_str()) == 0; }
  bool hasBelow(const std::string& prefix) const { return git_index_find_prefix(nullptr, get(), prefix.c_str()) == 0; }
  /// Whether git was told of a file, but not of what is in it (git-add(1), --intent-to-add).
  bool isOnlyIntended(const char* path) const;
  /// Of the paths that begin with `prefix`, sorted.
  std::vector<std::string> onlyIntended(const std::string& prefix) const;

  /// Whether it has several versions of a file, of which a merge did not decide.
  bool isUndecided(const char* path) const;
  /// Whether a sparse checkout leaves it out of the working copy.
  bool isLeftOut(const char* path) const;
  /// The file that it has at a path; nothing where that is no file, or where more is to be known of it.
  std::optional<git_oid> plainFile(const char* path) const;
  /// Those that begin with `prefix`, with the commit that each is to be at.
  std::vector<std::pair<std::string, git_oid>> submodules(const std::string& prefix) const;
  /// Those that begin with `prefix`. Neither submodules are among them nor what a sparse checkout leaves out and is not
  /// there. Looks at the files from several threads.
  FilesThatMayDiffer filesThatMayDiffer(const std::string& prefix) const;

 private:
  /// As git does, takes a file that is there for one that a sparse checkout does not leave out. On disk nothing
  /// changes.
  void takeInWhatIsThere();
  const git_index_entry* entryAt(const char* path) const;
  std::vector<const git_index_entry*> entriesWith(const std::string& prefix) const;

  Index handle_;
  git_index_time isFrom_{};  ///< a file as young as this may have been changed after the index was told of it
};

}  // namespace ravant::git
