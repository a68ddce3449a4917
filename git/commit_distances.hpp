#pragma once

#include <cstdint>
#include <expected>
#include <vector>

#include "git/libgit2_handles.hpp"

namespace ravant::git {

/// Two commits of one history.
struct CommitPair {
  git_oid local;
  git_oid upstream;
};

struct CommitDistance {
  std::int64_t ahead = 0;   ///< commits that only the local one descends from, itself included
  std::int64_t behind = 0;  ///< commits that only the upstream descends from, itself included
};

/// How far the commits of each pair are apart, in the order of the pairs. All pairs share the walks through the
/// history, so that it is read once for many branches. The history of a shallow clone ends where it is cut. A pair
/// whose history cannot be read has the reason instead, and takes nothing from the others.
std::vector<std::expected<CommitDistance, LibraryError>> commitDistances(git_repository* repository,
                                                                         const std::vector<CommitPair>& pairs);

}  // namespace ravant::git
