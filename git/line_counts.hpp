#pragma once

#include <cstdint>

#include "git/libgit2_handles.hpp"

namespace ravant::git {

struct LineCounts {
  bool isBinary = false;
  std::int64_t insertions = 0;
  std::int64_t deletions = 0;
};

enum class NewSide { index, workingCopy };

/// What the change of that number comes to; nothing where it cannot be told. Throws `LibraryError` where a side cannot
/// be read.
LineCounts countLines(git_repository* repository, git_diff* diff, std::size_t number, NewSide newSide);

}  // namespace ravant::git
