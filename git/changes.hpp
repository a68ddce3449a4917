#pragma once

#include <vector>

#include "git/git_status.hpp"
#include "git/libgit2_handles.hpp"

namespace ravant::git {

class OpenedRepository;

/// The files that differ on one side of the index, without hunks. A file that cannot be compared is
/// left out, and the reason tells of the first. The staged ones
/// are read through the given handle, so that both can be read at once. Both throw `LibraryError` and
/// `UnsupportedRepositoryError`.
GitReading<std::vector<GitFileChange>> stagedChanges(const OpenedRepository& repository, git_repository* handle);
GitReading<std::vector<GitFileChange>> unstagedChanges(const OpenedRepository& repository);

}  // namespace ravant::git
