#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "git/git_status.hpp"
#include "git/unsupported_repository.hpp"

namespace ravant {

/// The repository that holds a folder, opened for reading through libgit2, and read as far as that folder goes. Takes
/// no lock and writes nothing. On one thread at a time; every member throws `UnsupportedRepositoryError`.
class GitRepository {
 public:
  explicit GitRepository(const std::filesystem::path& folder);
  ~GitRepository();
  GitRepository(const GitRepository&) = delete;
  GitRepository& operator=(const GitRepository&) = delete;

  /// Whether opening the folder anew would give the same.
  bool isCurrent() const;

  /// With the branch where only the files cannot be compared, and with one side where only the other cannot.
  GitReading<GitWorkingCopyDetails> readDetails() const;
  GitReading<GitWorkingCopyStat> readStat() const;
  GitReading<std::vector<GitBranch>> readBranches() const;
  std::vector<GitRemote> readRemotes() const;
  /// `path` is relative to the folder.
  GitReading<GitFileHunks> readHunks(const std::string& path) const;

 private:
  struct Opened;
  std::unique_ptr<Opened> opened_;
};

}  // namespace ravant
