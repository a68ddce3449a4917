#include "git/hunks.hpp"

#include <string_view>

#include "git/diffs.hpp"
#include "git/fresh_index.hpp"
#include "git/opened_repository.hpp"
#include "git/patches.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::git {
namespace {

constexpr std::uint32_t kContext = 3;  // lines

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

struct Side {
  std::vector<GitDiffHunk> hunks;
  std::size_t lines = 0;
  GitHunksExtent extent = GitHunksExtent::whole;
};

void extractHunks(git_patch* patch, Side& side) {
  for (std::size_t i = 0; i < git_patch_num_hunks(patch); ++i) {
    const git_diff_hunk* found = nullptr;
    std::size_t count = 0;
    check(git_patch_get_hunk(&found, &count, patch, i));
    GitDiffHunk hunk{.index = static_cast<std::int64_t>(side.hunks.size()), .header = hunkHeader(*found), .lines = {}};
    for (std::size_t j = 0; j < count; ++j) {
      const git_diff_line* line = nullptr;
      check(git_patch_get_line_in_hunk(&line, patch, i, j));
      const auto kind = kindOf(line->origin);
      if (!kind) continue;
      if (side.lines == kMostHunkLines) {
        side.extent = GitHunksExtent::cut;
        break;
      }
      hunk.lines.push_back({.index = static_cast<std::int64_t>(side.lines++),
                            .kind = *kind,
                            .oldNumber = lineNumber(line->old_lineno),
                            .newNumber = lineNumber(line->new_lineno),
                            .content = lineContent(*line)});
    }
    if (!hunk.lines.empty()) side.hunks.push_back(std::move(hunk));
    if (side.extent == GitHunksExtent::cut) return;
  }
}

/// Those of the one path; a path can stand for a folder too.
Side hunksFromDiff(git_repository* repository, git_diff* diff, std::string_view path, NewSide newSide) {
  Side side;
  for (std::size_t i = 0; i < git_diff_num_deltas(diff); ++i) {
    const git_diff_delta* delta = git_diff_get_delta(diff, i);
    if (delta->new_file.path == nullptr || delta->new_file.path != path) continue;
    const FilePatch patch = makePatch(repository, diff, i, newSide, kContext, PatchSize::bounded);
    if (patch.extent != GitHunksExtent::whole) side.extent = patch.extent;
    if (patch.lines) extractHunks(patch.lines.get(), side);
  }
  return side;
}

/// Of a file that a merge left undecided there is no one version in the index: it is compared with HEAD.
Diff diffToWorkingCopy(git_repository* repository, const FreshIndex& index, const std::string& path) {
  if (index.isUndecided(path.c_str())) return diffHeadToFiles(repository, {path}, kContext);
  const std::uint32_t flags =
      GIT_DIFF_INCLUDE_UNTRACKED | GIT_DIFF_RECURSE_UNTRACKED_DIRS | GIT_DIFF_SHOW_UNTRACKED_CONTENT;
  return diffIndexToWorkingCopy(repository, index, DiffOptions(flags, kContext, {path}));
}

}  // namespace

GitFileHunks readHunks(const OpenedRepository& repository, const std::string& path) {
  const std::string whole = repository.prefix() + path;
  const FreshIndex index(repository.get());
  const Diff staged = diffHeadToIndex(repository.get(), index, DiffOptions(0, kContext, {whole}));
  Side stagedSide = hunksFromDiff(repository.get(), staged.get(), whole, NewSide::index);
  GitFileHunks hunks{.staged = std::move(stagedSide.hunks), .unstaged = {}, .stagedExtent = stagedSide.extent};
  if (index.isLeftOut(whole.c_str())) return hunks;
  const Diff unstaged = diffToWorkingCopy(repository.get(), index, whole);
  Side unstagedSide = hunksFromDiff(repository.get(), unstaged.get(), whole, NewSide::workingCopy);
  hunks.unstaged = std::move(unstagedSide.hunks);
  hunks.unstagedExtent = unstagedSide.extent;
  return hunks;
}

}  // namespace ravant::git
