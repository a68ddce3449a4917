#include "app/program_search.hpp"

#include <unistd.h>

#include <algorithm>

namespace ravant {

bool isProgram(const std::filesystem::path& path) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(path, ignored) && ::access(path.c_str(), X_OK) == 0;
}

std::vector<std::filesystem::path> foldersOf(std::string_view searchPath) {
  std::vector<std::filesystem::path> folders;
  while (!searchPath.empty()) {
    const std::size_t end = std::min(searchPath.find(':'), searchPath.size());
    if (end > 0) folders.emplace_back(searchPath.substr(0, end));
    searchPath.remove_prefix(std::min(end + 1, searchPath.size()));
  }
  return folders;
}

std::optional<std::string> findProgram(std::string_view name, const std::vector<std::filesystem::path>& folders) {
  for (const std::filesystem::path& folder : folders) {
    const std::filesystem::path candidate = folder / name;
    if (candidate.is_absolute() && isProgram(candidate)) return candidate.string();
  }
  return std::nullopt;
}

}  // namespace ravant
