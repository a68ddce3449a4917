#include "git/git_status.hpp"

#include <map>

namespace ravant {
namespace {

void merge(std::optional<GitFileChange>& known, const GitFileChange& change) {
  if (!known) {
    known = change;
    return;
  }
  const bool isMoved = known->oldPath || change.oldPath;  // in place of what was there
  known->status = isMoved ? GitFileStatus::renamed : GitFileStatus::typeChanged;
  if (change.oldPath) known->oldPath = change.oldPath;
  known->isBinary |= change.isBinary;
  known->insertions = known->isBinary ? 0 : known->insertions + change.insertions;
  known->deletions = known->isBinary ? 0 : known->deletions + change.deletions;
}

}  // namespace

std::string_view rawValue(GitFileStatus status) {
  switch (status) {
    case GitFileStatus::added:
      return "added";
    case GitFileStatus::modified:
      return "modified";
    case GitFileStatus::deleted:
      return "deleted";
    case GitFileStatus::renamed:
      return "renamed";
    case GitFileStatus::untracked:
      return "untracked";
    case GitFileStatus::typeChanged:
      return "typeChanged";
  }
  __builtin_unreachable();
}

std::string_view rawValue(GitHeadState state) {
  switch (state) {
    case GitHeadState::branch:
      return "branch";
    case GitHeadState::detached:
      return "detached";
    case GitHeadState::unborn:
      return "unborn";
  }
  __builtin_unreachable();
}

std::string_view rawValue(GitDiffLineKind kind) {
  switch (kind) {
    case GitDiffLineKind::context:
      return "context";
    case GitDiffLineKind::addition:
      return "addition";
    case GitDiffLineKind::deletion:
      return "deletion";
  }
  __builtin_unreachable();
}

std::string_view rawValue(GitHunksExtent extent) {
  switch (extent) {
    case GitHunksExtent::whole:
      return "whole";
    case GitHunksExtent::cut:
      return "cut";
    case GitHunksExtent::notCompared:
      return "notCompared";
  }
  __builtin_unreachable();
}

std::vector<GitFileEntry> GitWorkingCopyDetails::entries() const {
  std::map<std::string, GitFileEntry> byPath;
  const auto entryOf = [&](const GitFileChange& change) -> GitFileEntry& {
    GitFileEntry& entry = byPath[change.path];
    entry.path = change.path;
    return entry;
  };
  for (const GitFileChange& change : staged) merge(entryOf(change).staged, change);
  for (const GitFileChange& change : unstaged) merge(entryOf(change).unstaged, change);
  std::vector<GitFileEntry> entries;
  for (auto& [path, entry] : byPath) entries.push_back(std::move(entry));
  return entries;
}

}  // namespace ravant
