#pragma once

#include <vector>

#include "git/git_status.hpp"
#include "git/libgit2_handles.hpp"

namespace ravant::git {

/// The remotes, in the order of the configuration. Throws `LibraryError`.
std::vector<GitRemote> readRemotes(git_repository* repository);

}  // namespace ravant::git
