#pragma once

#include <utility>
#include <vector>

#include "git/git_status.hpp"
#include "git/libgit2_handles.hpp"

namespace ravant::git {

/// What is checked out, without its distance to the upstream.
GitHead readHead(git_repository* repository);

/// Of what is checked out to its upstream; zeros where there is none. Throws `LibraryError`.
std::pair<std::int64_t, std::int64_t> readAheadBehind(git_repository* repository);

/// The local branches, by name. One whose distance to its upstream cannot be counted has zeros, and the first reason
/// stands beside the list. Throws `LibraryError`.
GitReading<std::vector<GitBranch>> readBranches(git_repository* repository);

}  // namespace ravant::git
