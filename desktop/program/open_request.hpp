#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "app/application.hpp"

namespace ravant::desktop {

/// What whoever starts the program, or the desktop, wants the window to show.
struct OpenRequest {
  enum class Page { asItIs, newConversation };

  std::optional<std::filesystem::path> project = {};  ///< absolute; a folder that is no project becomes one
  std::optional<std::string> conversation = {};       ///< its id, or at least the first six characters of it
  Page page = Page::asItIs;
  std::string activationToken = {};  ///< by which the desktop lets the window come to the front; empty for none

  bool operator==(const OpenRequest&) const = default;
};

/// The folder as a project has it. Throws `std::runtime_error` with the reason for what cannot be a project's, or
/// should not and is none's: the root of the file system, or a home folder. Blocks.
std::filesystem::path projectFolderAt(const std::filesystem::path& path, const std::vector<Project>& projects);

/// The project in the folder, which becomes one where it is none. Throws as `projectFolderAt` does.
awaitable<ProjectId> projectIn(Application& application, std::filesystem::path folder);

/// The one conversation whose id begins so. Throws `std::runtime_error` where there is none, or more than one.
awaitable<Conversation> conversationNamed(Application& application, std::string id);

}  // namespace ravant::desktop
