#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "git/libgit2_handles.hpp"

namespace ravant::git {

/// The repository that holds a folder, opened for reading. Not for several threads, but for the handles.
class OpenedRepository {
 public:
  /// Throws `UnsupportedRepositoryError` and `LibraryError`.
  explicit OpenedRepository(std::filesystem::path folder);

  git_repository* get() const { return handles_.front().get(); }
  /// So many handles of it, the first being `get()`; each may be used on a thread of its own.
  std::span<const Repository> handles(std::size_t count);

  /// Whether the folder is still in this repository, and the configuration is what it was when it was opened.
  bool isCurrent() const;

  /// The folder's path in the working copy with a slash at its end; empty for the whole.
  const std::string& prefix() const { return prefix_; }
  /// The paths that a reading is restricted to; none for the whole.
  std::vector<std::string> scope() const;
  bool holds(std::string_view path) const { return path.starts_with(prefix_); }
  /// A path of the working copy as it is seen from the folder: "./" for itself.
  std::string relative(std::string_view path) const;

 private:
  /// When and how a file was written last; nothing where there is none.
  using Stamp = std::optional<std::array<std::int64_t, 4>>;

  Repository open() const;
  void findPrefix();
  void noteConfiguration();

  std::filesystem::path folder_;
  std::vector<Repository> handles_;
  std::string prefix_;
  std::map<std::string, Stamp> configuration_;  ///< by the files' paths
};

}  // namespace ravant::git
