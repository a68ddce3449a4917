#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace ravant {

/// The top of the working copy that the folder is in: the innermost folder, itself or above it, with a repository of
/// its own or a file that leads to one (gitrepository-layout(5)). Reads no repository, so those count too that cannot
/// be read. `folder` is absolute. Blocks.
std::optional<std::filesystem::path> repositoryTop(const std::filesystem::path& folder);

/// Why there is no repository for the folder that can be read, although there may be one: words for a user. Blocks.
std::string whyNoRepository(const std::filesystem::path& folder);

}  // namespace ravant
