#pragma once

#include "git/git_status.hpp"

namespace ravant::git {

class OpenedRepository;

/// How many lines of the tracked files differ between the last commit and the working copy: the sum of libgit2's own
/// difference, made of the files that may differ only, in parts at once. The reason tells of
/// a submodule that could not be read. Throws `LibraryError` and `UnsupportedRepositoryError`.
GitReading<GitWorkingCopyStat> workingCopyStat(OpenedRepository& repository);

}  // namespace ravant::git
