#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace ravant::git {

/// A pipe that stands where the repository of a folder has a file, or where one of `others` is. Whoever reads one
/// waits, perhaps for ever, until somebody writes to it. What is below the repository's objects and in the working
/// copy's other folders is not looked at.
std::optional<std::filesystem::path> pipeInTheWay(const std::filesystem::path& folder,
                                                  const std::vector<std::filesystem::path>& others);

}  // namespace ravant::git
