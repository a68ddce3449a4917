#include "platform/files/private_file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "platform/files/file_replacement.hpp"

namespace ravant {
namespace {

constexpr mode_t kPrivateFolder = 0700;
constexpr mode_t kPrivateFile = 0600;
constexpr std::size_t kReadSize = 64 * 1024;

[[noreturn]] void fail(const char* action, const std::filesystem::path& path) {
  throw std::filesystem::filesystem_error(action, path, std::error_code(errno, std::generic_category()));
}

class NoFile final : public std::error_category {
 public:
  const char* name() const noexcept override { return "file"; }
  std::string message(int /*value*/) const override { return "it is a pipe or a device, no file"; }
};

const std::error_category& noFile() {
  static const NoFile category;
  return category;
}

}  // namespace

std::optional<std::string> readFile(const std::filesystem::path& path) {
  // Without waiting for the other end of a pipe.
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
  if (!file) fail("Cannot open", path);
  struct stat status;
  if (::fstat(file.get(), &status) != 0) fail("Cannot read", path);
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
    throw std::filesystem::filesystem_error("Cannot read", path, std::error_code(1, noFile()));
  }
  std::string contents;
  for (std::size_t size = 0;;) {
    ssize_t count = 0;
    contents.resize_and_overwrite(size + kReadSize, [&](char* bytes, std::size_t) {
      count = ::read(file.get(), bytes + size, kReadSize);
      size += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
      return size;
    });
    if (count < 0 && errno != EINTR) fail("Cannot read", path);
    if (count == 0) return contents;
  }
}

void makePrivateFolder(const std::filesystem::path& folder) {
  if (std::filesystem::is_directory(folder)) return;
  if (folder.has_parent_path() && folder.parent_path() != folder) makePrivateFolder(folder.parent_path());
  if (::mkdir(folder.c_str(), kPrivateFolder) != 0 && errno != EEXIST) fail("Cannot create the folder", folder);
}

bool isUnwritable(int error) {
  return error == EROFS || error == EACCES || error == EPERM || error == ENOSPC || error == EDQUOT;
}

void replaceFile(const std::filesystem::path& path, std::string_view contents) {
  FileReplacement replacement(path);
  replacement.write(contents);
  replacement.putInPlace();
}

UniqueFd lockBeside(const std::filesystem::path& path) {
  const std::string name = path.string() + ".lock";
  UniqueFd lock(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kPrivateFile));
  if (!lock) fail("Cannot open", name);
  while (::flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) fail("Cannot lock", name);
  }
  return lock;
}

std::filesystem::path linkTarget(std::filesystem::path path) {
  constexpr int kMaxLinks = 40;
  for (int links = 0; std::filesystem::is_symlink(path); ++links) {
    if (links == kMaxLinks) {
      errno = ELOOP;
      fail("Cannot follow", path);
    }
    path = path.parent_path() / std::filesystem::read_symlink(path);
  }
  return path;
}

}  // namespace ravant
