#include "git/repository_top.hpp"

#include <fmt/format.h>

#include <fstream>
#include <string>

#include "platform/text/utf8.hpp"

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

std::string whyNoRepository(const std::filesystem::path& folder) {
  std::error_code error;
  if (!std::filesystem::exists(folder, error)) return "the folder is not there";
  for (auto above = std::filesystem::absolute(folder, error); above.has_relative_path(); above = above.parent_path()) {
    const auto marker = above / ".git";
    if (std::filesystem::is_regular_file(marker, error)) {
      std::string line;
      std::getline(std::ifstream(marker), line);
      return fmt::format("{} leads to no repository (\"{}\")", repairUtf8(marker.string()), repairUtf8(line));
    }
    if (std::filesystem::exists(marker, error)) {
      return fmt::format("{} is not complete or may not be read; \"git status\" says more",
                         repairUtf8(marker.string()));
    }
  }
  return "the folder is in no git repository";
}

}  // namespace ravant
