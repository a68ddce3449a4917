#include "platform/files/scratch_folder.hpp"

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <system_error>

namespace ravant {
namespace {

struct Present {
  std::mutex mutex;
  std::set<std::filesystem::path> folders;
};

Present& present() {
  static Present all;
  return all;
}

void removeFolder(const std::filesystem::path& folder) {
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

void removeAll() {
  const std::scoped_lock lock(present().mutex);
  for (const auto& folder : present().folders) removeFolder(folder);
}

}  // namespace

ScratchFolder::ScratchFolder(std::string_view prefix) {
  [[maybe_unused]] static const int registered = std::at_quick_exit(removeAll);
  std::string name = std::filesystem::temp_directory_path() / (std::string(prefix) + "-XXXXXX");
  const std::scoped_lock lock(present().mutex);
  if (!::mkdtemp(name.data())) throw std::system_error(errno, std::generic_category(), name);
  path_ = name;
  present().folders.insert(path_);
}

ScratchFolder::~ScratchFolder() {
  removeFolder(path_);
  const std::scoped_lock lock(present().mutex);
  present().folders.erase(path_);
}

}  // namespace ravant
