#include "platform/files/working_folder.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ravant {

void expectFolder(const std::filesystem::path& folder) {
  std::error_code error;
  const auto kind = std::filesystem::status(folder, error).type();
  if (kind == std::filesystem::file_type::not_found) {
    throw WorkingFolderError(fmt::format("the folder {} is gone; put it back, or choose another one", folder.string()));
  }
  if (!error && kind != std::filesystem::file_type::directory) error = std::make_error_code(std::errc::not_a_directory);
  if (!error && ::access(folder.c_str(), X_OK) != 0) error.assign(errno, std::generic_category());
  if (error) throw WorkingFolderError(fmt::format("{} cannot be worked in: {}", folder.string(), error.message()));
}

}  // namespace ravant
