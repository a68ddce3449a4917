#pragma once

#include "app/application.hpp"

namespace ravant::cli {

/// `path` as projects are stored: absolute, symbolic links resolved where it exists.
std::filesystem::path projectFolder(const std::filesystem::path& path);

/// The project of that folder, made where it is none yet. Throws `CommandError` for what is no folder.
awaitable<Project> registerProject(Application& application, std::filesystem::path path,
                                   std::optional<std::string> name);

}  // namespace ravant::cli
