#include "git/diffs.hpp"

#include <utility>

#include "git/fresh_index.hpp"

namespace ravant::git {
namespace {

/// Null in a repository without commits.
Object headTree(git_repository* repository) {
  const int unborn = git_repository_head_unborn(repository);
  check(unborn);
  if (unborn == 1) return nullptr;
  const Reference head = own<Reference>([&](git_reference** found) { return git_repository_head(found, repository); });
  return own<Object>([&](git_object** tree) { return git_reference_peel(tree, head.get(), GIT_OBJECT_TREE); });
}

}  // namespace

DiffOptions::DiffOptions(std::uint32_t flags, std::uint32_t contextLines, std::vector<std::string> paths)
    : paths_(std::move(paths)) {
  options_.flags = flags;
  options_.context_lines = contextLines;
  options_.interhunk_lines = 0;
  options_.max_size = kMaxBlobSize;
  if (paths_.empty()) return;
  options_.flags |= GIT_DIFF_DISABLE_PATHSPEC_MATCH;
  for (std::string& path : paths_) words_.push_back(path.data());
  options_.pathspec = {.strings = words_.data(), .count = words_.size()};
}

DiffOptions countingOptions(std::vector<std::string> paths) {
  return {GIT_DIFF_INCLUDE_UNTRACKED, 0, std::move(paths)};
}

DiffOptions countingWithoutSubmodules(std::vector<std::string> paths) {
  return {GIT_DIFF_INCLUDE_UNTRACKED | GIT_DIFF_IGNORE_SUBMODULES, 0, std::move(paths)};
}

Diff diffHeadToIndex(git_repository* repository, const FreshIndex& index, const DiffOptions& options) {
  const Object tree = headTree(repository);
  return own<Diff>([&](git_diff** diff) {
    return git_diff_tree_to_index(diff, repository, reinterpret_cast<git_tree*>(tree.get()), index.get(),
                                  options.get());
  });
}

Diff diffIndexToWorkingCopy(git_repository* repository, const FreshIndex& index, const DiffOptions& options) {
  return own<Diff>(
      [&](git_diff** diff) { return git_diff_index_to_workdir(diff, repository, index.get(), options.get()); });
}

Diff diffHeadToWorkingCopy(git_repository* repository, const DiffOptions& options) {
  const Object tree = headTree(repository);
  return own<Diff>([&](git_diff** diff) {
    return git_diff_tree_to_workdir_with_index(diff, repository, reinterpret_cast<git_tree*>(tree.get()),
                                               options.get());
  });
}

Diff diffHeadToFiles(git_repository* repository, const std::vector<std::string>& paths, std::uint32_t contextLines) {
  const std::uint32_t flags = GIT_DIFF_IGNORE_SUBMODULES | GIT_DIFF_INCLUDE_UNTRACKED |
                              GIT_DIFF_RECURSE_UNTRACKED_DIRS | GIT_DIFF_SHOW_UNTRACKED_CONTENT;
  const DiffOptions options(flags, contextLines, paths);
  const Object tree = headTree(repository);
  return own<Diff>([&](git_diff** diff) {
    return git_diff_tree_to_workdir(diff, repository, reinterpret_cast<git_tree*>(tree.get()), options.get());
  });
}

void detectExactRenames(git_diff* diff) {
  git_diff_find_options options = GIT_DIFF_FIND_OPTIONS_INIT;
  options.flags = GIT_DIFF_FIND_RENAMES | GIT_DIFF_FIND_EXACT_MATCH_ONLY;
  check(git_diff_find_similar(diff, &options));
}

}  // namespace ravant::git
