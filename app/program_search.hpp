#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// Whether it is a file that this user may run.
bool isProgram(const std::filesystem::path& path);

/// The folders of a search path, parted by ':'; empty ones are left out.
std::vector<std::filesystem::path> foldersOf(std::string_view searchPath);

/// The first program of that name in the folders that are absolute.
std::optional<std::string> findProgram(std::string_view name, const std::vector<std::filesystem::path>& folders);

}  // namespace ravant
