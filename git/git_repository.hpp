#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "git/git_status.hpp"

namespace ravant {

/// A repository that cannot be read; `what()` says why and what can be done.
class UnsupportedRepositoryError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The repository that holds a folder, opened for reading through libgit2, and read as far as that folder goes. Takes
/// no lock and writes nothing. On one thread at a time; every member throws `UnsupportedRepositoryError`.
class GitRepository {
 public:
  explicit GitRepository(const std::filesystem::path& folder);
  ~GitRepository();
  GitRepository(const GitRepository&) = delete;
  GitRepository& operator=(const GitRepository&) = delete;

  std::string readBranch() const;
  /// Zeros where there is no upstream.
  std::pair<std::int64_t, std::int64_t> readAheadBehind() const;
  std::vector<GitFileChange> collectStagedChanges() const;
  std::vector<GitFileChange> collectUnstagedChanges() const;
  GitWorkingCopyStat readStat() const;
  std::vector<GitBranch> readBranches() const;
  /// `path` is relative to the folder.
  GitFileHunks readHunks(const std::string& path) const;

 private:
  struct Handles;
  std::unique_ptr<Handles> handles_;
};

}  // namespace ravant
