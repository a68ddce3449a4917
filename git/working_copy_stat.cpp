#include "git/working_copy_stat.hpp"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <optional>
#include <ranges>
#include <span>
#include <string>
#include <vector>

#include "git/diffs.hpp"
#include "git/fresh_index.hpp"
#include "git/in_parts.hpp"
#include "git/opened_repository.hpp"
#include "git/patches.hpp"
#include "git/submodules.hpp"
#include "git/unsupported_repository.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant::git {
namespace {

constexpr std::size_t kFilesOfAThread = 50;

using Paths = std::vector<std::string>;

/// Those of both, sorted, each once.
Paths merged(Paths paths, const Paths& others) {
  paths.insert(paths.end(), others.begin(), others.end());
  std::ranges::sort(paths);
  const auto [first, last] = std::ranges::unique(paths);
  paths.erase(first, last);
  return paths;
}

bool isSubmodule(const git_diff_delta& delta) {
  return delta.old_file.mode == GIT_FILEMODE_COMMIT || delta.new_file.mode == GIT_FILEMODE_COMMIT;
}

/// What differs between the last commit and the index.
struct Staged {
  std::map<std::string, std::optional<git_oid>> files;  ///< with what the commit has there, where that is a file
  Paths undecided;                                      ///< by a merge, or of another kind on each side
  /// The commits that HEAD names; nothing for a submodule that is new.
  std::map<std::string, std::optional<git_oid>> submodules;
  std::int64_t removedSubmodules = 0;
};

using Reading = GitReading<GitWorkingCopyStat>;

/// A file that cannot be read is left out, and the reason tells of the first.
void addLines(git_repository* repository, git_diff* diff, std::size_t number, NewSide newSide, Reading& reading) {
  const git_diff_delta* delta = git_diff_get_delta(diff, number);
  if (isSubmodule(*delta)) return;  // see addSubmodules
  try {
    const LineCounts counts = countLines(repository, diff, number, newSide);
    reading.value.insertions += counts.insertions;
    reading.value.deletions += counts.deletions;
  } catch (const LibraryError& error) {
    if (!reading.unsupportedReason) reading.unsupportedReason = reasonFor(error.what(), delta->new_file.path);
  }
}

Staged findStaged(const OpenedRepository& repository, const FreshIndex& index, Reading& reading) {
  Staged staged;
  const Diff diff = diffHeadToIndex(repository.get(), index, countingOptions(repository.scope()));
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(diff.get(), i);
    const char* path = delta->new_file.path;
    if (!repository.holds(path)) continue;
    const bool isSecondOfTwo = staged.files.contains(path);
    if (index.isLeftOut(path)) {
      addLines(repository.get(), diff.get(), i, NewSide::index, reading);
    } else if (isSubmodule(*delta) && delta->status == GIT_DELTA_DELETED) {
      ++staged.removedSubmodules;
    } else if (isSubmodule(*delta)) {
      const bool isNew = delta->status == GIT_DELTA_ADDED;
      staged.submodules.emplace(path, isNew ? std::nullopt : std::optional(delta->old_file.id));
    } else if (delta->status == GIT_DELTA_CONFLICTED || isSecondOfTwo) {
      staged.undecided.emplace_back(path);
    } else {
      staged.files.emplace(path, isFile(delta->old_file.mode) ? std::optional(delta->old_file.id) : std::nullopt);
    }
  }
  return staged;
}

/// Of the given paths, sorted; the difference may also have what is below them.
void addLinesOf(git_repository* repository, const Diff& diff, std::span<const std::string> paths, Reading& reading) {
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    const char* path = git_diff_get_delta(diff.get(), i)->new_file.path;
    if (std::ranges::binary_search(paths, path)) addLines(repository, diff.get(), i, NewSide::workingCopy, reading);
  }
}

/// The files that may differ from the last commit, sorted, each in one of the lists.
struct Candidates {
  /// Those of which the index says one thing: found by libgit2's own difference, in parts at once.
  Paths ordinary;
  /// Those of which it says several things, or another thing than the files do. Each is compared with HEAD as it lies
  /// there: of what comes in two halves, libgit2 may lose one.
  Paths ambiguous;
};

Candidates findCandidates(const OpenedRepository& repository, const FreshIndex& index, const Staged& staged,
                          const Paths& lostSubmodules) {
  const auto [changed, retyped] = index.filesThatMayDiffer(repository.prefix());
  const auto stagedFiles = std::views::keys(staged.files);
  Candidates candidates{.ordinary = merged(changed, {stagedFiles.begin(), stagedFiles.end()}),
                        .ambiguous = merged(merged(retyped, staged.undecided), lostSubmodules)};
  std::erase_if(candidates.ordinary,
                [&](const std::string& path) { return std::ranges::binary_search(candidates.ambiguous, path); });
  return candidates;
}

void add(const Reading& part, Reading& reading) {
  reading.value.insertions += part.value.insertions;
  reading.value.deletions += part.value.deletions;
  if (!reading.unsupportedReason) reading.unsupportedReason = part.unsupportedReason;
}

/// A file that is one on both sides, with nothing to be known but its content.
struct PlainFile {
  std::string path;
  git_oid before;
};

/// Whether a file of the working copy is there. What lies behind a link is not in the working copy; where that cannot
/// be told, it is not there.
bool isFileIn(const UniqueFd& top, const char* path) {
  open_how how{};
  how.flags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
  how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH;
  const UniqueFd file(static_cast<int>(::syscall(SYS_openat2, top.get(), path, &how, sizeof how)));
  struct stat found{};
  return file && ::fstat(file.get(), &found) == 0 && S_ISREG(found.st_mode);
}

/// Takes them out of the paths.
std::vector<PlainFile> takePlainFiles(git_repository* repository, const FreshIndex& index, const Staged& staged,
                                      Paths& paths) {
  const UniqueFd top(::open(git_repository_workdir(repository), O_PATH | O_DIRECTORY | O_CLOEXEC));
  std::vector<PlainFile> files;
  std::erase_if(paths, [&](const std::string& path) {
    const auto known = staged.files.find(path);
    const auto inIndex = index.plainFile(path.c_str());
    const auto before = known != staged.files.end() ? known->second : inIndex;
    const bool isPlainFile = inIndex && before && isFileIn(top, path.c_str()) && isPlain(repository, path.c_str());
    if (isPlainFile) files.push_back({.path = path, .before = *before});
    return isPlainFile;
  });
  return files;
}

/// Without a difference of the whole, which would make every handle read the index and the folders of HEAD.
void addPlainFiles(OpenedRepository& repository, const std::vector<PlainFile>& files, Reading& reading) {
  const std::size_t threads = threadsFor(files.size(), kFilesOfAThread);
  const std::span<const Repository> handles = repository.handles(threads);
  const auto count = [&](std::span<const PlainFile> some, std::size_t number) {
    Reading part;
    for (const PlainFile& file : some) {
      try {
        const LineCounts counts = countLinesOfPlain(handles[number].get(), file.path, file.before);
        part.value.insertions += counts.insertions;
        part.value.deletions += counts.deletions;
      } catch (const LibraryError& error) {
        if (!part.unsupportedReason) part.unsupportedReason = reasonFor(error.what(), file.path);
      }
    }
    return part;
  };
  for (const Reading& part : inParts(std::span<const PlainFile>(files), threads, count)) add(part, reading);
}

/// The lines of the files that are on both sides, and the paths of those that are on one.
struct Part {
  Reading reading;
  Paths oneSided;
};

/// Counts what became of the given paths, sorted, as far as one path alone can tell.
Part compare(git_repository* repository, std::span<const std::string> paths) {
  Part part;
  if (paths.empty()) return part;      // none would mean all
  const FreshIndex index(repository);  // which the library takes its own from
  const Diff diff = diffHeadToWorkingCopy(repository, countingWithoutSubmodules({paths.begin(), paths.end()}));
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(diff.get(), i);
    const char* path = delta->new_file.path;
    if (!std::ranges::binary_search(paths, path)) continue;  // below one of them
    if (delta->status == GIT_DELTA_MODIFIED) {
      addLines(repository, diff.get(), i, NewSide::workingCopy, part.reading);
    } else {
      part.oneSided.emplace_back(path);
    }
  }
  return part;
}

/// Gives the paths of those that are on one side only, to be looked at together: a file may have moved from one to
/// another.
Paths addOrdinary(OpenedRepository& repository, const Paths& paths, Reading& reading) {
  const std::size_t threads = threadsFor(paths.size(), kFilesOfAThread);
  const std::span<const Repository> handles = repository.handles(threads);
  const auto compareSome = [&](std::span<const std::string> some, std::size_t number) {
    return compare(handles[number].get(), some);
  };
  Paths oneSided;
  for (const Part& part : inParts(std::span<const std::string>(paths), threads, compareSome)) {
    add(part.reading, reading);
    oneSided = merged(std::move(oneSided), part.oneSided);
  }
  return oneSided;
}

void addOneSided(git_repository* repository, const Paths& paths, Reading& reading) {
  if (paths.empty()) return;
  const Diff diff = diffHeadToWorkingCopy(repository, countingWithoutSubmodules(paths));
  detectExactRenames(diff.get());
  addLinesOf(repository, diff, paths, reading);
}

void addAmbiguous(git_repository* repository, const Paths& paths, Reading& reading) {
  if (!paths.empty()) addLinesOf(repository, diffHeadToFiles(repository, paths), paths, reading);
}

/// Counts each submodule as a line with its commit. Gives the paths of those that are gone, where a file may be now.
Paths addSubmodules(const OpenedRepository& repository, const FreshIndex& index, const Staged& staged,
                    Reading& reading) {
  Paths gone;
  GitWorkingCopyStat& stat = reading.value;
  stat.deletions += staged.removedSubmodules;
  for (const Submodule& submodule : submodulesOf(repository, index)) {
    const auto known = staged.submodules.find(submodule.path);
    const std::optional<git_oid> before =
        known != staged.submodules.end() ? known->second : std::optional(submodule.expected);
    const bool isMissing = submodule.state == Submodule::State::missing;
    const git_oid& now = submodule.state == Submodule::State::checkedOut ? submodule.commit : submodule.expected;
    const bool isSame = before && !isMissing && !submodule.hasChanges && git_oid_equal(&*before, &now) != 0;
    if (isMissing) gone.push_back(submodule.path);
    if (submodule.objection && !reading.unsupportedReason) reading.unsupportedReason = submodule.objection;
    if (isSame) continue;
    stat.insertions += isMissing ? 0 : 1;
    stat.deletions += before ? 1 : 0;
  }
  return gone;
}

}  // namespace

GitReading<GitWorkingCopyStat> workingCopyStat(OpenedRepository& repository) {
  Reading reading;
  const FreshIndex index(repository.get());
  const Staged staged = findStaged(repository, index, reading);
  const Paths lostSubmodules = addSubmodules(repository, index, staged, reading);
  Candidates files = findCandidates(repository, index, staged, lostSubmodules);
  addPlainFiles(repository, takePlainFiles(repository.get(), index, staged, files.ordinary), reading);
  const Paths oneSided = addOrdinary(repository, files.ordinary, reading);
  addOneSided(repository.get(), oneSided, reading);
  addAmbiguous(repository.get(), files.ambiguous, reading);
  return reading;
}

}  // namespace ravant::git
