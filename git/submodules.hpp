#pragma once

#include <string>
#include <vector>

#include "git/fresh_index.hpp"

namespace ravant::git {

class OpenedRepository;

/// The submodules below `repository`'s folder that are not as its index has them: at another commit, or with changes of
/// their own, as far as their setting `ignore` lets them count (gitmodules(5)). The library's own comparison leaks 20
/// KB for each (libgit2 1.5, whose regular expressions keep their matches). Throws as reading does.
std::vector<std::string> changedSubmodules(const OpenedRepository& repository, const FreshIndex& index);

}  // namespace ravant::git
