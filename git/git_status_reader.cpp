#include "git/git_status_reader.hpp"

#include "git/git_repository.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.git", "GitStatusReader");

}  // namespace

GitStatusReader::GitStatusReader(any_io_executor work) : Actor(std::move(work)) {}
GitStatusReader::~GitStatusReader() = default;

awaitable<GitReading<GitHeadName>> GitStatusReader::headName(std::filesystem::path folder) {
  return onActor(
      [folder = std::move(folder)]() -> awaitable<GitReading<GitHeadName>> { co_return readHeadName(folder); });
}

awaitable<GitReading<GitWorkingCopyStat>> GitStatusReader::workingCopyStat(std::filesystem::path folder) {
  return onActor([this, folder = std::move(folder)]() -> awaitable<GitReading<GitWorkingCopyStat>> {
    kLog.debug("libgit2 reading working copy stat for: {}", folder.string());
    co_return reading<GitWorkingCopyStat>(folder, [](const GitRepository& repo) { return repo.readStat(); });
  });
}

awaitable<GitReading<GitWorkingCopyDetails>> GitStatusReader::workingCopyFiles(std::filesystem::path folder) {
  return onActor([this, folder = std::move(folder)]() -> awaitable<GitReading<GitWorkingCopyDetails>> {
    kLog.debug("libgit2 reading working copy files for: {}", folder.string());
    co_return reading<GitWorkingCopyDetails>(folder, [](const GitRepository& repo) { return repo.readDetails(); });
  });
}

awaitable<GitReading<std::vector<GitBranch>>> GitStatusReader::branches(std::filesystem::path folder) {
  return onActor([this, folder = std::move(folder)]() -> awaitable<GitReading<std::vector<GitBranch>>> {
    kLog.debug("libgit2 reading branches for: {}", folder.string());
    co_return reading<std::vector<GitBranch>>(folder, [](const GitRepository& repo) { return repo.readBranches(); });
  });
}

awaitable<GitReading<std::vector<GitRemote>>> GitStatusReader::remotes(std::filesystem::path folder) {
  return onActor([this, folder = std::move(folder)]() -> awaitable<GitReading<std::vector<GitRemote>>> {
    kLog.debug("libgit2 reading remotes for: {}", folder.string());
    co_return reading<std::vector<GitRemote>>(
        folder, [](const GitRepository& repo) { return GitReading{.value = repo.readRemotes()}; });
  });
}

awaitable<GitReading<GitFileHunks>> GitStatusReader::hunks(std::filesystem::path folder, std::string path) {
  return onActor([this, folder = std::move(folder), path = std::move(path)]() -> awaitable<GitReading<GitFileHunks>> {
    kLog.debug("libgit2 reading hunks for: {}", folder.string());
    co_return reading<GitFileHunks>(folder, [&](const GitRepository& repo) { return repo.readHunks(path); });
  });
}

awaitable<void> GitStatusReader::invalidateCache() {
  return onActor([this]() -> awaitable<void> {
    cachedRepo_.reset();
    cachedRepoPath_.reset();
    co_return;
  });
}

template <class Value, class Read>
GitReading<Value> GitStatusReader::reading(const std::filesystem::path& folder, Read read) {
  try {
    GitReading<Value> result = read(repo(folder));
    // A handle whose index could not be read is left with an empty one, which must not be taken for the file's later.
    if (result.unsupportedReason) cachedRepo_.reset();
    return result;
  } catch (const std::exception& error) {
    cachedRepo_.reset();
    kLog.warning("{}: {}", folder.string(), error.what());
    return {.value = {}, .unsupportedReason = error.what()};
  }
}

GitRepository& GitStatusReader::repo(const std::filesystem::path& folder) {
  if (!cachedRepo_ || cachedRepoPath_ != folder || !cachedRepo_->isCurrent()) {
    cachedRepo_.reset();
    cachedRepo_ = std::make_unique<GitRepository>(folder);
    cachedRepoPath_ = folder;
  }
  return *cachedRepo_;
}

}  // namespace ravant
