#pragma once

#include <string>
#include <vector>

#include "cli/output/output.hpp"
#include "git/git_status.hpp"

namespace ravant::cli {

/// The state of a repository as JSON, and as text that reads like git's own.

json::object jsonForm(const GitWorkingCopyDetails& details);
json::object jsonForm(const GitWorkingCopyStat& stat);
json::object jsonForm(const GitBranch& branch);
json::object jsonForm(const GitFileHunks& hunks);

std::string statusText(const GitReading<GitWorkingCopyDetails>& reading, const Style& style);
std::string statText(const GitWorkingCopyStat& stat);
std::string branchesText(const std::vector<GitBranch>& branches, const Style& style);
std::string hunksText(const GitFileHunks& hunks, const Style& style);

}  // namespace ravant::cli
