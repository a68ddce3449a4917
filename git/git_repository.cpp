#include "git/git_repository.hpp"

#include <future>
#include <tuple>

#include "git/branches.hpp"
#include "git/changes.hpp"
#include "git/hunks.hpp"
#include "git/opened_repository.hpp"
#include "git/remotes.hpp"
#include "git/working_copy_stat.hpp"

namespace ravant {
namespace {

/// Calls `read`, with the library's errors as reasons.
template <class Read>
auto explained(Read read) {
  try {
    return read();
  } catch (const git::LibraryError& error) {
    throw UnsupportedRepositoryError(git::reasonFor(error.what()));
  }
}

/// What `read` gives; nothing, with the reason, where it cannot.
template <class Read>
auto orReason(Read read) -> decltype(read()) {
  try {
    return read();
  } catch (const git::LibraryError& error) {
    return {.value = {}, .unsupportedReason = git::reasonFor(error.what())};
  } catch (const UnsupportedRepositoryError& error) {
    return {.value = {}, .unsupportedReason = error.what()};
  }
}

}  // namespace

struct GitRepository::Opened {
  git::OpenedRepository repository;
};

GitRepository::GitRepository(const std::filesystem::path& folder)
    : opened_(explained([&] { return std::make_unique<Opened>(git::OpenedRepository(folder)); })) {}

GitRepository::~GitRepository() = default;

bool GitRepository::isCurrent() const { return opened_->repository.isCurrent(); }

GitReading<GitWorkingCopyDetails> GitRepository::readDetails() const {
  return explained([&] {
    git::OpenedRepository& repository = opened_->repository;
    git_repository* const other = repository.handles(2)[1].get();
    GitReading<GitWorkingCopyDetails> reading;
    // Of the two halves the files of the working copy take longer.
    auto readingTheRest = std::async(std::launch::async, [&] {
      reading.value.head = git::readHead(other);
      reading.value.branch = reading.value.head.branch;
      try {
        std::tie(reading.value.ahead, reading.value.behind) = git::readAheadBehind(other);
      } catch (const git::LibraryError& error) {
        reading.unsupportedReason = git::reasonFor(error.what());
      }
      return orReason([&] { return git::stagedChanges(repository, other); });
    });
    auto unstaged = orReason([&] { return git::unstagedChanges(repository); });
    auto staged = readingTheRest.get();
    reading.value.folder = repository.prefix();
    reading.value.unstaged = std::move(unstaged.value);
    reading.value.staged = std::move(staged.value);
    for (const auto& reason : {unstaged.unsupportedReason, staged.unsupportedReason}) {
      if (!reading.unsupportedReason) reading.unsupportedReason = reason;
    }
    return reading;
  });
}

GitReading<GitWorkingCopyStat> GitRepository::readStat() const {
  return explained([&] { return git::workingCopyStat(opened_->repository); });
}

GitReading<std::vector<GitBranch>> GitRepository::readBranches() const {
  return explained([&] { return git::readBranches(opened_->repository.get()); });
}

std::vector<GitRemote> GitRepository::readRemotes() const {
  return explained([&] { return git::readRemotes(opened_->repository.get()); });
}

GitReading<GitFileHunks> GitRepository::readHunks(const std::string& path) const {
  return explained([&] { return GitReading{.value = git::readHunks(opened_->repository, path)}; });
}

}  // namespace ravant
