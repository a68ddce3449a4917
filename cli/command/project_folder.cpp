#include "cli/command/project_folder.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "cli/output/command_error.hpp"
#include "platform/text/text.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::cli {
std::filesystem::path projectFolder(const std::filesystem::path& path) {
  std::error_code notThere;
  const std::filesystem::path resolved = std::filesystem::canonical(path, notThere);
  if (!notThere) return resolved;
  const std::filesystem::path normal = std::filesystem::absolute(path).lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

awaitable<Project> registerProject(Application& application, std::filesystem::path path,
                                   std::optional<std::string> name) {
  if (path.empty()) throw CommandError("a project's path cannot be empty");
  std::error_code fault;
  const std::filesystem::path folder = std::filesystem::canonical(path, fault);
  if (fault) throw CommandError(fmt::format("{}: {}", path.string(), fault.message()));
  if (!std::filesystem::is_directory(folder)) throw CommandError(fmt::format("{} is not a folder", folder.string()));
  if (!isValidUtf8(folder.string())) throw CommandError("a project's path must be valid UTF-8");

  std::string chosen(trimmed(name.value_or(std::string())));
  if (chosen.empty()) chosen = folder.has_filename() ? folder.filename().string() : folder.string();
  co_return co_await application.projects().create(folder, std::move(chosen));
}

}  // namespace ravant::cli
