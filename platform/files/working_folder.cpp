#include "platform/files/working_folder.hpp"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ravant {

void expectFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error) && !error) {
    error = std::make_error_code(std::filesystem::exists(folder) ? std::errc::not_a_directory
                                                                 : std::errc::no_such_file_or_directory);
  }
  if (!error && ::access(folder.c_str(), X_OK) != 0) error.assign(errno, std::generic_category());
  if (error) throw std::system_error(error, folder.string());
}

}  // namespace ravant
