#include "git/git_repository.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string_view>

#include "git/libgit2_handles.hpp"
#include "git/upstreams.hpp"
#include "platform/text/utf8.hpp"

namespace ravant {
namespace {

using git::check;
using git::own;
using git::ownIfAny;

constexpr git_off_t kMaxBlobSize = 52'428'800;  // bytes
constexpr std::uint32_t kHunkContext = 3;       // lines

std::string reasonFor(std::string_view words) {
  if (words.contains("objectformat")) {
    return "the repository names its objects by SHA-256, which this version cannot read; use git itself";
  }
  if (words.contains("refstorage")) {
    return "the repository keeps its references as a reftable, which this version cannot read; use git itself";
  }
  if (words.contains("'link'")) {
    return "the repository's index is split; \"git update-index --no-split-index\" makes it readable";
  }
  if (words.contains("'sdir'")) {
    return "the repository's index is sparse; \"git sparse-checkout reapply --no-sparse-index\" makes it readable";
  }
  return fmt::format("the repository cannot be read: {}", words);
}

/// Calls `read`, with the library's errors as reasons.
template <class Read>
auto explained(Read read) {
  try {
    return read();
  } catch (const git::LibraryError& error) {
    throw UnsupportedRepositoryError(reasonFor(repairUtf8(error.what())));
  }
}

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

std::optional<GitDiffLineKind> kindOf(char origin) {
  switch (origin) {
    case GIT_DIFF_LINE_CONTEXT:
      return GitDiffLineKind::context;
    case GIT_DIFF_LINE_ADDITION:
      return GitDiffLineKind::addition;
    case GIT_DIFF_LINE_DELETION:
      return GitDiffLineKind::deletion;
    default:
      return std::nullopt;  // marks of files without a last line feed
  }
}

std::optional<std::int64_t> lineNumber(int number) {
  return number < 0 ? std::nullopt : std::optional<std::int64_t>(number);
}

std::string hunkHeader(const git_diff_hunk& hunk) {
  std::string_view header(hunk.header, hunk.header_len);
  while (header.ends_with('\n') || header.ends_with('\r')) header.remove_suffix(1);
  return repairUtf8(std::string(header));
}

std::string lineContent(const git_diff_line& line) {
  std::string_view content(line.content, line.content_len);
  if (content.ends_with('\n')) content.remove_suffix(1);
  return repairUtf8(std::string(content));
}

std::vector<GitDiffHunk> extractHunks(git_patch* patch, std::int64_t firstIndex, std::int64_t firstHunk) {
  std::vector<GitDiffHunk> hunks;
  for (std::size_t i = 0; i < git_patch_num_hunks(patch); ++i) {
    const git_diff_hunk* found = nullptr;
    std::size_t count = 0;
    check(git_patch_get_hunk(&found, &count, patch, i));
    GitDiffHunk hunk{.index = firstHunk + static_cast<std::int64_t>(i), .header = hunkHeader(*found), .lines = {}};
    for (std::size_t j = 0; j < count; ++j) {
      const git_diff_line* line = nullptr;
      check(git_patch_get_line_in_hunk(&line, patch, i, j));
      const auto kind = kindOf(line->origin);
      if (!kind) continue;
      hunk.lines.push_back({.index = firstIndex++,
                            .kind = *kind,
                            .oldNumber = lineNumber(line->old_lineno),
                            .newNumber = lineNumber(line->new_lineno),
                            .content = lineContent(*line)});
    }
    hunks.push_back(std::move(hunk));
  }
  return hunks;
}

std::vector<GitDiffHunk> hunksFromDiff(git_diff* diff) {
  std::vector<GitDiffHunk> hunks;
  std::int64_t lines = 0;
  for (std::size_t i = 0; i < git_diff_num_deltas(diff); ++i) {
    const git::Patch patch = own<git::Patch>([&](git_patch** made) { return git_patch_from_diff(made, diff, i); });
    const git_diff_delta* delta = git_diff_get_delta(diff, i);
    if (!patch || (delta->flags & GIT_DIFF_FLAG_BINARY) != 0) continue;
    for (GitDiffHunk& hunk : extractHunks(patch.get(), lines, static_cast<std::int64_t>(hunks.size()))) {
      lines += static_cast<std::int64_t>(hunk.lines.size());
      hunks.push_back(std::move(hunk));
    }
  }
  return hunks;
}

void detectExactRenames(git_diff* diff) {
  git_diff_find_options options = GIT_DIFF_FIND_OPTIONS_INIT;
  options.flags = GIT_DIFF_FIND_RENAMES | GIT_DIFF_FIND_EXACT_MATCH_ONLY;
  check(git_diff_find_similar(diff, &options));
}

/// Options whose path specification lives as long as they do.
class DiffOptions {
 public:
  DiffOptions(std::uint32_t flags, std::uint32_t contextLines, const std::string& path) : path_(path) {
    options_.flags = flags;
    options_.context_lines = contextLines;
    options_.interhunk_lines = 0;
    options_.max_size = kMaxBlobSize;
    if (path_.empty()) return;
    // A path is one path, whatever characters it has.
    options_.flags |= GIT_DIFF_DISABLE_PATHSPEC_MATCH;
    word_ = path_.data();
    options_.pathspec = {.strings = &word_, .count = 1};
  }
  DiffOptions(const DiffOptions&) = delete;
  DiffOptions& operator=(const DiffOptions&) = delete;

  const git_diff_options* get() const { return &options_; }

 private:
  git_diff_options options_ = GIT_DIFF_OPTIONS_INIT;
  std::string path_;
  char* word_ = nullptr;
};

}  // namespace

struct GitRepository::Handles {
  git::Repository repository;
  std::string prefix;  ///< of the folder in the working copy, with a slash at its end; empty for the whole

  DiffOptions countingOptions() const { return {GIT_DIFF_INCLUDE_UNTRACKED, 0, prefix}; }

  /// Null in a repository without commits.
  git::Object headTree() const {
    return ownIfAny<git::Object>(
        [&](git_object** tree) { return git_revparse_single(tree, repository.get(), "HEAD^{tree}"); });
  }
  git::Reference head() const {
    return ownIfAny<git::Reference>(
        [&](git_reference** found) { return git_repository_head(found, repository.get()); });
  }

  git::Diff diffToIndex(const DiffOptions& options) const {
    const git::Object tree = headTree();
    return own<git::Diff>([&](git_diff** diff) {
      return git_diff_tree_to_index(diff, repository.get(), reinterpret_cast<git_tree*>(tree.get()), nullptr,
                                    options.get());
    });
  }
  git::Diff diffToWorkingCopy(const DiffOptions& options) const {
    return own<git::Diff>(
        [&](git_diff** diff) { return git_diff_index_to_workdir(diff, repository.get(), nullptr, options.get()); });
  }

  /// Files that a sparse checkout leaves out are not there, and not deleted.
  std::set<std::string> skippedPaths() const {
    const git::Index index =
        own<git::Index>([&](git_index** found) { return git_repository_index(found, repository.get()); });
    std::set<std::string> skipped;
    for (std::size_t i = 0; i < git_index_entrycount(index.get()); ++i) {
      const git_index_entry* entry = git_index_get_byindex(index.get(), i);
      if ((entry->flags_extended & GIT_INDEX_ENTRY_SKIP_WORKTREE) != 0) skipped.insert(entry->path);
    }
    return skipped;
  }

  std::string shown(const char* path) const {
    std::string_view text = path != nullptr ? path : "";
    if (text.starts_with(prefix)) text.remove_prefix(prefix.size());
    return repairUtf8(std::string(text));
  }

  std::vector<GitFileChange> changesFromDiff(git_diff* diff, bool staged, const std::set<std::string>& skipped) const {
    std::vector<GitFileChange> changes;
    for (std::size_t i = 0; i < git_diff_num_deltas(diff); ++i) {
      const git::Patch patch =
          ownIfAny<git::Patch>([&](git_patch** made) { return git_patch_from_diff(made, diff, i); });
      if (!patch) continue;
      const git_diff_delta* delta = git_patch_get_delta(patch.get());
      if (delta->status == GIT_DELTA_DELETED && skipped.contains(delta->old_file.path)) continue;
      std::size_t insertions = 0;
      std::size_t deletions = 0;
      check(git_patch_line_stats(nullptr, &insertions, &deletions, patch.get()));
      GitFileChange change{.path = shown(delta->new_file.path),
                           .oldPath = std::nullopt,
                           .status = mapStatus(delta->status),
                           .staged = staged,
                           .isBinary = (delta->flags & GIT_DIFF_FLAG_BINARY) != 0,
                           .insertions = static_cast<std::int64_t>(insertions),
                           .deletions = static_cast<std::int64_t>(deletions)};
      std::string oldPath = shown(delta->old_file.path);
      if (!oldPath.empty() && oldPath != change.path) change.oldPath = std::move(oldPath);
      changes.push_back(std::move(change));
    }
    return changes;
  }

  std::pair<std::int64_t, std::int64_t> aheadBehind(const git_reference* local, const git_reference* upstream) const {
    const git_oid* one = local != nullptr ? git_reference_target(local) : nullptr;
    const git_oid* other = upstream != nullptr ? git_reference_target(upstream) : nullptr;
    if (one == nullptr || other == nullptr || git_oid_equal(one, other) != 0) return {0, 0};
    std::size_t ahead = 0;
    std::size_t behind = 0;
    if (git_graph_ahead_behind(&ahead, &behind, repository.get(), one, other) != 0) return {0, 0};
    return {static_cast<std::int64_t>(ahead), static_cast<std::int64_t>(behind)};
  }

  std::optional<GitBranch> readBranch(git_reference* reference, git::Upstreams& upstreams) const {
    const char* name = nullptr;
    if (git_branch_name(&name, reference) != 0) return std::nullopt;
    GitBranch branch{.name = repairUtf8(name),
                     .isCurrent = git_branch_is_head(reference) == 1,
                     .upstream = std::nullopt,
                     .ahead = 0,
                     .behind = 0,
                     .lastCommitSummary = {},
                     .lastCommitDate = std::nullopt};
    const git::Reference upstream = upstreams.of(reference);
    const char* upstreamName = nullptr;
    if (upstream && git_branch_name(&upstreamName, upstream.get()) == 0) branch.upstream = repairUtf8(upstreamName);
    std::tie(branch.ahead, branch.behind) = aheadBehind(reference, upstream.get());
    const git::Object tip = ownIfAny<git::Object>(
        [&](git_object** found) { return git_reference_peel(found, reference, GIT_OBJECT_COMMIT); });
    if (tip) {
      auto* const commit = reinterpret_cast<git_commit*>(tip.get());
      const char* summary = git_commit_summary(commit);
      branch.lastCommitSummary = repairUtf8(summary != nullptr ? summary : "");
      branch.lastCommitDate = Timestamp(std::chrono::seconds(git_commit_time(commit)));
    }
    return branch;
  }
};

GitRepository::GitRepository(const std::filesystem::path& folder) : handles_(std::make_unique<Handles>()) {
  explained([&] {
    git::initializeLibgit2();
    git_repository* opened = nullptr;
    const int code = git_repository_open_ext(&opened, folder.c_str(), 0, nullptr);
    handles_->repository.reset(opened);
    if (code == GIT_ENOTFOUND) throw UnsupportedRepositoryError("the folder is in no git repository");
    check(code);
    const char* top = git_repository_workdir(handles_->repository.get());
    if (top == nullptr) throw UnsupportedRepositoryError("the repository is bare: it has no working copy");
    std::error_code missing;
    const auto relative =
        std::filesystem::canonical(folder, missing).lexically_relative(std::filesystem::canonical(top, missing));
    if (!missing && relative != ".") handles_->prefix = relative.string() + "/";
  });
}

GitRepository::~GitRepository() = default;

std::string GitRepository::readBranch() const {
  const git::Reference head = handles_->head();
  const char* name = head ? git_reference_shorthand(head.get()) : nullptr;
  return name != nullptr ? repairUtf8(name) : "HEAD";
}

std::pair<std::int64_t, std::int64_t> GitRepository::readAheadBehind() const {
  const git::Reference head = handles_->head();
  if (!head) return {0, 0};
  return explained([&] {
    git::Upstreams upstreams(handles_->repository.get());
    return handles_->aheadBehind(head.get(), upstreams.of(head.get()).get());
  });
}

std::vector<GitFileChange> GitRepository::collectStagedChanges() const {
  return explained([&] {
    const DiffOptions options = handles_->countingOptions();
    const git::Diff diff = handles_->diffToIndex(options);
    detectExactRenames(diff.get());
    return handles_->changesFromDiff(diff.get(), true, {});
  });
}

std::vector<GitFileChange> GitRepository::collectUnstagedChanges() const {
  return explained([&] {
    const DiffOptions options = handles_->countingOptions();
    const git::Diff diff = handles_->diffToWorkingCopy(options);
    detectExactRenames(diff.get());
    return handles_->changesFromDiff(diff.get(), false, handles_->skippedPaths());
  });
}

GitWorkingCopyStat GitRepository::readStat() const {
  return explained([&] {
    const DiffOptions options = handles_->countingOptions();
    const git::Object tree = handles_->headTree();
    const git::Diff diff = own<git::Diff>([&](git_diff** made) {
      return git_diff_tree_to_workdir_with_index(made, handles_->repository.get(),
                                                 reinterpret_cast<git_tree*>(tree.get()), options.get());
    });
    detectExactRenames(diff.get());
    GitWorkingCopyStat stat;
    if (const std::set<std::string> skipped = handles_->skippedPaths(); !skipped.empty()) {
      for (const GitFileChange& change : handles_->changesFromDiff(diff.get(), false, skipped)) {
        stat.insertions += change.insertions;
        stat.deletions += change.deletions;
      }
      return stat;
    }
    const git::DiffStats stats =
        own<git::DiffStats>([&](git_diff_stats** made) { return git_diff_get_stats(made, diff.get()); });
    stat.insertions = static_cast<std::int64_t>(git_diff_stats_insertions(stats.get()));
    stat.deletions = static_cast<std::int64_t>(git_diff_stats_deletions(stats.get()));
    return stat;
  });
}

std::vector<GitBranch> GitRepository::readBranches() const {
  return explained([&] {
    const git::BranchIterator iterator = own<git::BranchIterator>([&](git_branch_iterator** made) {
      return git_branch_iterator_new(made, handles_->repository.get(), GIT_BRANCH_LOCAL);
    });
    git::Upstreams upstreams(handles_->repository.get());
    std::vector<GitBranch> branches;
    for (;;) {
      git_reference* found = nullptr;
      git_branch_t type{};
      const int code = git_branch_next(&found, &type, iterator.get());
      const git::Reference reference(found);
      if (code == GIT_ITEROVER) break;
      check(code);
      if (auto branch = handles_->readBranch(reference.get(), upstreams)) branches.push_back(*std::move(branch));
    }
    std::ranges::sort(branches, {}, &GitBranch::name);
    return branches;
  });
}

GitFileHunks GitRepository::readHunks(const std::string& path) const {
  return explained([&] {
    const std::string whole = handles_->prefix + path;
    const DiffOptions staged(0, kHunkContext, whole);
    const DiffOptions unstaged(
        GIT_DIFF_INCLUDE_UNTRACKED | GIT_DIFF_RECURSE_UNTRACKED_DIRS | GIT_DIFF_SHOW_UNTRACKED_CONTENT, kHunkContext,
        whole);
    return GitFileHunks{.staged = hunksFromDiff(handles_->diffToIndex(staged).get()),
                        .unstaged = hunksFromDiff(handles_->diffToWorkingCopy(unstaged).get())};
  });
}

}  // namespace ravant
