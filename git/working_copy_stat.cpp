#include "git/working_copy_stat.hpp"

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <vector>

#include "git/diffs.hpp"
#include "git/fresh_index.hpp"
#include "git/in_parts.hpp"
#include "git/line_counts.hpp"
#include "git/opened_repository.hpp"
#include "git/submodules.hpp"

namespace ravant::git {
namespace {

constexpr std::size_t kFilesOfAThread = 50;

using Paths = std::vector<std::string>;

void sortOnce(Paths& paths) {
  std::ranges::sort(paths);
  const auto [first, last] = std::ranges::unique(paths);
  paths.erase(first, last);
}

/// What is to be compared, and what need not be.
struct Work {
  Paths paths;              ///< every one whose file may differ between the last commit and the working copy, but for
  Paths direct;             ///< those of which the index has not one file of the same kind
  Paths submodules;         ///< those that differ between the last commit and the index
  GitWorkingCopyStat stat;  ///< theirs
};

bool isSubmodule(const git_diff_delta& delta) {
  return delta.old_file.mode == GIT_FILEMODE_COMMIT || delta.new_file.mode == GIT_FILEMODE_COMMIT;
}

void add(const LineCounts& counts, GitWorkingCopyStat& stat) {
  stat.insertions += counts.insertions;
  stat.deletions += counts.deletions;
}

Work findWork(const OpenedRepository& repository, const FreshIndex& index) {
  Work work{.paths = index.pathsThatMayDiffer(repository.prefix()), .submodules = {}, .stat = {}};
  Paths changed;
  const Diff staged = diffHeadToIndex(repository.get(), index, countingOptions(repository.scope()));
  for (std::size_t i = 0; i < git_diff_num_deltas(staged.get()); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(staged.get(), i);
    const char* path = delta->new_file.path;
    if (!repository.holds(path) || index.isLeftOut(path)) continue;
    if (isSubmodule(*delta)) {
      add(countLines(repository.get(), staged.get(), i, NewSide::index), work.stat);
      work.submodules.emplace_back(path);
    } else if (delta->status == GIT_DELTA_CONFLICTED || (!changed.empty() && changed.back() == path)) {
      work.direct.emplace_back(path);  // a change of type comes in two
    } else {
      changed.emplace_back(path);
    }
  }
  sortOnce(work.direct);
  std::ranges::move(changed, std::back_inserter(work.paths));
  sortOnce(work.paths);
  std::erase_if(work.paths, [&](const std::string& path) { return std::ranges::binary_search(work.direct, path); });
  return work;
}

/// The lines of the files that are on both sides, and the paths of the others.
struct Part {
  GitWorkingCopyStat stat;
  Paths moved;    ///< on one side
  Paths retyped;  ///< of another kind on each side, which comes in two
};

void addLines(git_repository* repository, git_diff* diff, std::size_t number, GitWorkingCopyStat& stat) {
  if (isSubmodule(*git_diff_get_delta(diff, number))) return;  // counted already
  add(countLines(repository, diff, number, NewSide::workingCopy), stat);
}

/// Of the given paths, sorted; the difference may also have what is below them.
void addLinesOf(git_repository* repository, const Diff& diff, std::span<const std::string> paths,
                GitWorkingCopyStat& stat) {
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    const char* path = git_diff_get_delta(diff.get(), i)->new_file.path;
    if (std::ranges::binary_search(paths, path)) addLines(repository, diff.get(), i, stat);
  }
}

/// What is below one of the paths was not asked for.
Part compare(git_repository* repository, std::span<const std::string> paths) {
  Part part;
  if (paths.empty()) return part;  // none would mean all
  const Diff diff = diffHeadToWorkingCopy(repository, countingWithoutSubmodules({paths.begin(), paths.end()}));
  for (std::size_t i = 0; i < git_diff_num_deltas(diff.get()); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(diff.get(), i);
    const char* path = delta->new_file.path;
    if (!std::ranges::binary_search(paths, path)) continue;
    if (delta->status == GIT_DELTA_MODIFIED) {
      addLines(repository, diff.get(), i, part.stat);
    } else if (!part.moved.empty() && part.moved.back() == path) {
      part.retyped.push_back(std::move(part.moved.back()));
      part.moved.pop_back();
    } else {
      part.moved.emplace_back(path);
    }
  }
  return part;
}

}  // namespace

GitWorkingCopyStat workingCopyStat(OpenedRepository& repository) {
  const FreshIndex index(repository.get());
  auto [paths, direct, submodules, submoduleStat] = findWork(repository, index);
  GitWorkingCopyStat stat = submoduleStat;
  for (const std::string& path : changedSubmodules(repository, index)) {
    const bool isCounted = std::ranges::find(submodules, path) != submodules.end();
    if (!isCounted) add({.isBinary = false, .insertions = 1, .deletions = 1}, stat);
  }
  const std::size_t threads = threadsFor(paths.size(), kFilesOfAThread);
  const std::span<const Repository> handles = repository.handles(threads);
  const auto compareSome = [&](std::span<const std::string> some, std::size_t number) {
    return compare(handles[number].get(), some);
  };
  Paths moved;
  for (Part& part : inParts(std::span<const std::string>(paths), threads, compareSome)) {
    stat.insertions += part.stat.insertions;
    stat.deletions += part.stat.deletions;
    std::ranges::move(part.moved, std::back_inserter(moved));
    std::ranges::move(part.retyped, std::back_inserter(direct));
  }
  if (!moved.empty()) {
    sortOnce(moved);
    const Diff diff = diffHeadToWorkingCopy(repository.get(), countingWithoutSubmodules(moved));
    detectExactRenames(diff.get());
    addLinesOf(repository.get(), diff, moved, stat);
  }
  if (!direct.empty()) {
    sortOnce(direct);
    addLinesOf(repository.get(), diffHeadToFiles(repository.get(), direct), direct, stat);
  }
  return stat;
}

}  // namespace ravant::git
