#pragma once

#include <vector>

#include "cli/command/command.hpp"
#include "core/integrations/github_content_filter.hpp"

namespace ravant::cli {

/// The options that say which pull requests are meant, and `more`.
std::vector<OptionDescription> withFilterOptions(std::vector<OptionDescription> more);

/// The filter that those options make.
GithubContentFilter filterFrom(const Arguments& arguments);

}  // namespace ravant::cli
