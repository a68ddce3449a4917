#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock/clock.hpp"

namespace ravant {

enum class GitFileStatus { added, modified, deleted, renamed, untracked, typeChanged };

std::string_view rawValue(GitFileStatus status);

enum class GitDiffLineKind { context, addition, deletion };

std::string_view rawValue(GitDiffLineKind kind);

struct GitDiffLine {
  std::int64_t index;  ///< over all hunks of the file
  GitDiffLineKind kind;
  std::optional<std::int64_t> oldNumber;
  std::optional<std::int64_t> newNumber;
  std::string content;  ///< without its line feed, in valid UTF-8

  bool operator==(const GitDiffLine&) const = default;
};

struct GitDiffHunk {
  std::int64_t index;
  std::string header;
  std::vector<GitDiffLine> lines;

  bool operator==(const GitDiffHunk&) const = default;
};

/// One file that differs, on one side of the index. Paths are relative to the folder that was asked for, and of
/// whatever bytes the file system has.
struct GitFileChange {
  std::string path;
  std::optional<std::string> oldPath;  ///< only where it is another one
  GitFileStatus status;
  bool staged;
  bool isBinary;
  std::int64_t insertions;  ///< lines
  std::int64_t deletions;
  std::vector<GitDiffHunk> hunks = {};  ///< empty in listings
  bool isConflicted = false;            ///< a merge left it undecided

  bool operator==(const GitFileChange&) const = default;
};

/// What became of one path, on both sides of the index.
struct GitFileEntry {
  std::string path;
  std::optional<GitFileChange> staged;
  std::optional<GitFileChange> unstaged;

  bool operator==(const GitFileEntry&) const = default;
};

enum class GitHeadState { branch, detached, unborn };

std::string_view rawValue(GitHeadState state);

struct GitHead {
  std::string branch = "HEAD";  ///< its name, "HEAD" without a branch and without a commit
  GitHeadState state = GitHeadState::branch;
  std::string name = {};       ///< of the branch, also of one without a commit; the beginning of the commit's id
  std::string operation = {};  ///< that was begun and not ended: "merge", "rebase", …; empty without one

  bool operator==(const GitHead&) const = default;
};

struct GitWorkingCopyDetails {
  std::string branch;
  std::int64_t ahead = 0;   ///< commits that the upstream lacks
  std::int64_t behind = 0;  ///< commits of the upstream that are lacking
  std::vector<GitFileChange> unstaged;
  std::vector<GitFileChange> staged;
  GitHead head = {};        ///< more of it
  std::string folder = {};  ///< that was read, as seen from the repository's top: "sub/", empty for all

  bool operator==(const GitWorkingCopyDetails&) const = default;

  /// Sorted by path, each path once: a file that became a link, which libgit2 tells as a deletion and an addition, is
  /// one change of type.
  std::vector<GitFileEntry> entries() const;
};

struct GitWorkingCopyStat {
  std::int64_t insertions = 0;
  std::int64_t deletions = 0;

  bool operator==(const GitWorkingCopyStat&) const = default;
};

struct GitBranch {
  std::string name;
  bool isCurrent;
  std::optional<std::string> upstream;
  std::int64_t ahead;
  std::int64_t behind;
  std::string lastCommitSummary;
  std::optional<Timestamp> lastCommitDate;

  bool operator==(const GitBranch&) const = default;
};

/// Another repository that commits are fetched from.
struct GitRemote {
  std::string name;
  std::string url;           ///< as it is written down
  std::string rewrittenUrl;  ///< as the rewriting of addresses in git's configuration makes it

  bool operator==(const GitRemote&) const = default;
};

/// How many lines the hunks of one side of a file have at most.
inline constexpr std::size_t kMostHunkLines = 100'000;
/// How many lines the versions of a file have at most that are compared with each other.
inline constexpr std::size_t kMostComparedLines = 500'000;

/// How much of a difference is told: all of it, the first `kMostHunkLines` lines, or nothing, since a version has more
/// than `kMostComparedLines`.
enum class GitHunksExtent { whole, cut, notCompared };

std::string_view rawValue(GitHunksExtent extent);

struct GitFileHunks {
  std::vector<GitDiffHunk> staged;
  std::vector<GitDiffHunk> unstaged;
  GitHunksExtent stagedExtent = GitHunksExtent::whole;
  GitHunksExtent unstagedExtent = GitHunksExtent::whole;

  bool operator==(const GitFileHunks&) const = default;
};

/// What was read of a repository, empty or without what could not be read; then the reason stands beside it, in words
/// that a user can act on.
template <class Value>
struct GitReading {
  Value value = {};
  std::optional<std::string> unsupportedReason = {};

  bool operator==(const GitReading&) const = default;
};

}  // namespace ravant
