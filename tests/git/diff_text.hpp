#pragma once

#include <string>
#include <vector>

#include "git/git_status.hpp"

namespace ravant::test {

/// Hunks as a diff has them, but without its marks for lines that do not end.
std::string diffText(const std::vector<GitDiffHunk>& hunks);

/// The hunks of a diff that git prints, without those marks.
std::string hunksOf(const std::string& diff);

}  // namespace ravant::test
