#pragma once

#include <filesystem>
#include <vector>

#include "runners/agent_session.hpp"

namespace ravant {

/// The files named `*.jsonl` that lie `depth` folders below `folder` (0: directly in it), in the order of their paths.
/// Symbolic links are followed, and each file comes once, however many ways lead to it. What cannot be looked at, and
/// what has such a name and is no file, is told. A folder that does not exist is empty. Blocks.
std::vector<std::filesystem::path> sessionFilesIn(const std::filesystem::path& folder, int depth,
                                                  std::vector<SkippedSession>& skipped);

}  // namespace ravant
