#include "git/changes.hpp"

#include <filesystem>
#include <map>
#include <set>

#include "git/diffs.hpp"
#include "git/fresh_index.hpp"
#include "git/opened_repository.hpp"
#include "git/patches.hpp"
#include "git/submodules.hpp"
#include "git/unsupported_repository.hpp"

namespace ravant::git {
namespace {

using Changes = GitReading<std::vector<GitFileChange>>;

GitFileStatus mapStatus(git_delta_t status) {
  switch (status) {
    case GIT_DELTA_ADDED:
      return GitFileStatus::added;
    case GIT_DELTA_DELETED:
      return GitFileStatus::deleted;
    case GIT_DELTA_RENAMED:
    case GIT_DELTA_COPIED:
      return GitFileStatus::renamed;
    case GIT_DELTA_UNTRACKED:
      return GitFileStatus::untracked;
    case GIT_DELTA_TYPECHANGE:
      return GitFileStatus::typeChanged;
    default:
      return GitFileStatus::modified;
  }
}

class Listing {
 public:
  Listing(const OpenedRepository& repository, git_repository* handle, NewSide newSide)
      : repository_(repository), handle_(handle), newSide_(newSide) {}

  /// Adds the change of that number, with the status and the counts that are given in place of its own.
  void add(git_diff* diff, std::size_t number, std::optional<GitFileStatus> status = {},
           std::optional<LineCounts> counts = {}) {
    const git_diff_delta* delta = git_diff_get_delta(diff, number);
    const std::string path = newPath(*delta);
    if (!repository_.holds(path)) return;
    try {
      if (delta->status == GIT_DELTA_UNTRACKED) counts = LineCounts{};  // its content was not asked for
      if (!counts) counts = countLines(handle_, diff, number, newSide_);
      GitFileChange change = make(path, status.value_or(mapStatus(delta->status)), *counts);
      change.isConflicted = delta->status == GIT_DELTA_CONFLICTED;
      const std::string oldPath = delta->old_file.path != nullptr ? delta->old_file.path : "";
      if (!oldPath.empty() && oldPath != path) change.oldPath = repository_.relative(oldPath);
      changes_.value.push_back(std::move(change));
    } catch (const LibraryError& error) {
      object(reasonFor(error.what(), path));
    }
  }

  void add(const std::string& path, GitFileStatus status, const LineCounts& counts) {
    changes_.value.push_back(make(path, status, counts));
  }

  /// The first reason is the one that is told.
  void object(const std::string& reason) {
    if (!changes_.unsupportedReason) changes_.unsupportedReason = reason;
  }

  Changes take() { return std::move(changes_); }

  static std::string newPath(const git_diff_delta& delta) {
    return delta.new_file.path != nullptr ? delta.new_file.path : "";
  }

 private:
  GitFileChange make(const std::string& path, GitFileStatus status, const LineCounts& counts) const {
    return {.path = repository_.relative(path),
            .oldPath = std::nullopt,
            .status = status,
            .staged = newSide_ == NewSide::index,
            .isBinary = counts.isBinary,
            .insertions = counts.insertions,
            .deletions = counts.deletions};
  }

  const OpenedRepository& repository_;
  git_repository* handle_;
  NewSide newSide_;
  Changes changes_;
};

/// What merges left undecided, by path: the lines of the files as they are against those of HEAD.
std::map<std::string, LineCounts> countUndecided(git_repository* repository, git_diff* unstaged) {
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < git_diff_num_deltas(unstaged); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(unstaged, i);
    if (delta->status == GIT_DELTA_CONFLICTED) paths.push_back(Listing::newPath(*delta));
  }
  std::map<std::string, LineCounts> counts;
  if (paths.empty()) return counts;
  const Diff diff = diffHeadToFiles(repository, paths);
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    counts[Listing::newPath(*git_diff_get_delta(diff.get(), i))] =
        countLines(repository, diff.get(), i, NewSide::workingCopy);
  }
  return counts;
}

/// Why a file is not seen that may be there; empty where it is not there.
std::string whyHidden(const OpenedRepository& repository, const std::string& path) {
  std::error_code error;
  const auto status = std::filesystem::symlink_status(git_repository_workdir(repository.get()) + path, error);
  return status.type() == std::filesystem::file_type::none ? error.message() : "";
}

std::string withoutSlash(const std::string& path) {
  return path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
}

/// Whether nothing of the repository's folder is tracked, and something could be. An untracked folder that holds it is
/// not found by what is below.
bool isUntracked(const OpenedRepository& repository, const FreshIndex& index) {
  const std::string& prefix = repository.prefix();
  if (prefix.empty() || index.hasBelow(prefix) || index.has(withoutSlash(prefix))) return false;
  const DiffOptions options(GIT_DIFF_INCLUDE_UNTRACKED | GIT_DIFF_RECURSE_UNTRACKED_DIRS, 0, repository.scope());
  const Diff diff = diffIndexToWorkingCopy(repository.get(), index, options);
  return git_diff_num_deltas(diff.get()) > 0;
}

}  // namespace

Changes stagedChanges(const OpenedRepository& repository, git_repository* handle) {
  const FreshIndex index(handle);
  const Diff diff = diffHeadToIndex(handle, index, countingOptions(repository.scope()));
  detectExactRenames(diff.get());
  Listing listing(repository, handle, NewSide::index);
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(diff.get(), i);
    const bool isPromise = delta->status == GIT_DELTA_ADDED && index.isOnlyIntended(delta->new_file.path);
    if (!isPromise) listing.add(diff.get(), i);
  }
  return listing.take();
}

Changes unstagedChanges(const OpenedRepository& repository) {
  const FreshIndex index(repository.get());
  Listing listing(repository, repository.get(), NewSide::workingCopy);
  if (isUntracked(repository, index)) {
    listing.add(repository.prefix(), GitFileStatus::untracked, {});
    return listing.take();
  }
  const Diff diff = diffIndexToWorkingCopy(repository.get(), index, countingWithoutSubmodules(repository.scope()));
  detectExactRenames(diff.get());
  const std::map<std::string, LineCounts> undecided = countUndecided(repository.get(), diff.get());
  const std::vector<std::string> intended = index.onlyIntended(repository.prefix());
  std::set<std::string> unnamed(intended.begin(), intended.end());
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(diff.get(), i);
    const std::string path = Listing::newPath(*delta);
    if (delta->status == GIT_DELTA_DELETED) {
      if (index.isLeftOut(path.c_str())) continue;
      if (const std::string hidden = whyHidden(repository, path); !hidden.empty()) {
        listing.object(reasonFor(hidden, path));
        continue;
      }
    }
    if (delta->status == GIT_DELTA_UNTRACKED && index.isUndecided(withoutSlash(path).c_str())) continue;  // a submodule
    const bool isAdded = unnamed.erase(path) > 0 && delta->status == GIT_DELTA_MODIFIED;
    const auto counts = undecided.find(path);
    listing.add(diff.get(), i, isAdded ? std::optional(GitFileStatus::added) : std::nullopt,
                counts != undecided.end() ? std::optional(counts->second) : std::nullopt);
  }
  for (const std::string& path : unnamed) listing.add(path, GitFileStatus::added, {});  // an empty one
  for (const Submodule& submodule : submodulesOf(repository, index)) {
    if (!submodule.differs()) continue;
    listing.add(submodule.path, GitFileStatus::modified, {.isBinary = false, .insertions = 1, .deletions = 1});
    if (submodule.objection) listing.object(*submodule.objection);
  }
  return listing.take();
}

}  // namespace ravant::git
