#include "git/repository_top.hpp"

#include <fstream>
#include <string>

namespace ravant {
namespace {

bool leadsToARepository(const std::filesystem::path& file) {
  constexpr std::string_view kBeginning = "gitdir: ";
  std::string beginning(kBeginning.size(), '\0');
  std::ifstream(file).read(beginning.data(), static_cast<std::streamsize>(beginning.size()));
  return beginning == kBeginning;
}

bool hasRepository(const std::filesystem::path& folder) {
  std::error_code ignored;
  const std::filesystem::path git = folder / ".git";
  if (std::filesystem::is_directory(git, ignored)) {
    return std::filesystem::exists(std::filesystem::symlink_status(git / "HEAD", ignored));
  }
  return std::filesystem::is_regular_file(git, ignored) && leadsToARepository(git);
}

}  // namespace

std::optional<std::filesystem::path> repositoryTop(const std::filesystem::path& folder) {
  for (std::filesystem::path candidate = folder;; candidate = candidate.parent_path()) {
    if (hasRepository(candidate)) return candidate;
    if (!candidate.has_relative_path()) return std::nullopt;
  }
}

}  // namespace ravant
