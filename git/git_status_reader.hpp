#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "git/git_status.hpp"
#include "git/head_name.hpp"
#include "platform/async/actor.hpp"

namespace ravant {

class GitRepository;

/// Reads the git state of project folders, and changes nothing. A folder that cannot be read gives an empty value and
/// the reason beside it. One repository stays open: that of the last folder. Its operations block their executor.
class GitStatusReader final : public Actor {
 public:
  explicit GitStatusReader(any_io_executor work);
  ~GitStatusReader() override;

  /// Opens no repository and closes none.
  awaitable<GitReading<GitHeadName>> headName(std::filesystem::path folder);
  awaitable<GitReading<GitWorkingCopyStat>> workingCopyStat(std::filesystem::path folder);
  awaitable<GitReading<GitWorkingCopyDetails>> workingCopyFiles(std::filesystem::path folder);
  awaitable<GitReading<std::vector<GitBranch>>> branches(std::filesystem::path folder);
  /// In the order of git's configuration.
  awaitable<GitReading<std::vector<GitRemote>>> remotes(std::filesystem::path folder);
  /// `path` is relative to the folder.
  awaitable<GitReading<GitFileHunks>> hunks(std::filesystem::path folder, std::string path);

  /// Closes the repository that is open.
  awaitable<void> invalidateCache();

 private:
  template <class Value, class Read>
  GitReading<Value> reading(const std::filesystem::path& folder, Read read);
  GitRepository& repo(const std::filesystem::path& folder);

  std::optional<std::filesystem::path> cachedRepoPath_;
  std::unique_ptr<GitRepository> cachedRepo_;
};

}  // namespace ravant
