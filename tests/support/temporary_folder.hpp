#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace ravant::test {

/// A folder that is gone with its contents when this is.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "ravant-test-XXXXXX";
    if (!::mkdtemp(name.data())) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  std::filesystem::path write(std::string_view name, std::string_view contents) const {
    std::ofstream(path_ / name, std::ios::binary) << contents;
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace ravant::test
