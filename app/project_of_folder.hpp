#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <variant>
#include <vector>

#include "core/project.hpp"

namespace ravant {

/// A folder that becomes a project only when the user names it; `what()` says why and what to do.
class FolderNotTakenError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Where somebody is who names no project.
struct Whereabouts {
  std::filesystem::path folder;                        ///< absolute, without symbolic links, like those below
  std::optional<std::filesystem::path> repositoryTop;  ///< of the repository that the folder is in
  std::filesystem::path home;                          ///< the user's; empty where it is not known
};

/// The user's home folder by the environment, without symbolic links; empty where it is not known. Blocks.
std::filesystem::path homeFolder();

/// Of the folder, with the repository that it is in and the home folder of the environment. Blocks.
Whereabouts whereaboutsOf(const std::filesystem::path& folder);

/// Why the folder becomes no project without being named, in words that follow its name; nothing where it does.
std::optional<std::string> objectionTo(const std::vector<Project>& projects, const std::filesystem::path& folder,
                                       const std::filesystem::path& home);

/// The registered project that holds the folder, the innermost one. One above the folder's repository does not stand
/// in for it.
std::optional<Project> registeredProject(const std::vector<Project>& projects, const Whereabouts& place);

/// The folder to register where no registered project holds the place: the top of its repository, else the folder
/// itself. An agent with its prompts switched off may change everything in there, so the root, a home folder and what
/// holds a registered project are never taken: throws `FolderNotTakenError`.
std::filesystem::path folderToRegister(const std::vector<Project>& projects, const Whereabouts& place);

}  // namespace ravant
