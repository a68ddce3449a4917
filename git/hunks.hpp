#pragma once

#include <string>

#include "git/git_status.hpp"

namespace ravant::git {

class OpenedRepository;

/// How one file differs; `path` is relative to the repository's folder. Throws `LibraryError`.
GitFileHunks readHunks(const OpenedRepository& repository, const std::string& path);

}  // namespace ravant::git
