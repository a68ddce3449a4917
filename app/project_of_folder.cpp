#include "app/project_of_folder.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "git/repository_top.hpp"

namespace ravant {
namespace {

bool holds(const std::filesystem::path& outer, const std::filesystem::path& inner) {
  return std::ranges::mismatch(outer, inner).in1 == outer.end();
}

}  // namespace

std::optional<std::string> objectionTo(const std::vector<Project>& projects, const std::filesystem::path& folder,
                                       const std::filesystem::path& home) {
  if (folder == folder.root_path()) return "it is the root of the file system";
  if (!home.empty() && holds(folder, home))
    return folder == home ? "it is your home folder" : "your home folder is in it";
  const auto inside =
      std::ranges::find_if(projects, [&](const Project& project) { return holds(folder, project.path); });
  if (inside != projects.end()) return fmt::format("the project {} is in it", inside->name);
  return std::nullopt;
}

std::filesystem::path homeFolder() {
  std::error_code unknown;
  const char* variable = std::getenv("HOME");
  return std::filesystem::canonical(variable ? variable : "", unknown);
}

Whereabouts whereaboutsOf(const std::filesystem::path& folder) {
  const std::filesystem::path place = std::filesystem::canonical(folder);
  return {.folder = place, .repositoryTop = repositoryTop(place), .home = homeFolder()};
}

std::optional<Project> registeredProject(const std::vector<Project>& projects, const Whereabouts& place) {
  const Project* innermost = nullptr;
  for (const Project& project : projects) {
    if (!holds(project.path, place.folder)) continue;
    if (place.repositoryTop && !holds(*place.repositoryTop, project.path)) continue;
    if (!innermost || project.path.size() > innermost->path.size()) innermost = &project;
  }
  return innermost ? std::optional(*innermost) : std::nullopt;
}

std::filesystem::path folderToRegister(const std::vector<Project>& projects, const Whereabouts& place) {
  if (place.repositoryTop && !objectionTo(projects, *place.repositoryTop, place.home)) return *place.repositoryTop;
  if (const auto reason = objectionTo(projects, place.folder, place.home)) {
    throw FolderNotTakenError(
        fmt::format("{} is no project, and {}: an agent may change everything in a project's folder. Go into the "
                    "folder of your work, or name this one: --project .",
                    place.folder.string(), *reason));
  }
  return place.folder;
}

}  // namespace ravant
