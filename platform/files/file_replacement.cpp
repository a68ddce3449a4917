#include "platform/files/file_replacement.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <mutex>
#include <set>
#include <system_error>
#include <utility>

#include "platform/files/private_file.hpp"
#include "platform/files/write_all.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

constexpr mode_t kPrivateFile = 0600;
constexpr mode_t kModeBits = 07777;
constexpr std::string_view kUnique = ".XXXXXX";

struct Unfinished {
  std::mutex mutex;
  std::set<std::string> files;
};

Unfinished& unfinished() {
  static Unfinished all;
  return all;
}

void removeAll() {
  const std::scoped_lock lock(unfinished().mutex);
  for (const std::string& file : unfinished().files) ::unlink(file.c_str());
}

[[noreturn]] void fail(const char* action, const std::filesystem::path& path) {
  throw std::filesystem::filesystem_error(action, path, std::error_code(errno, std::generic_category()));
}

/// As `mkostemp` wants it. A file's name has at most NAME_MAX bytes.
std::string nameBeside(const std::filesystem::path& target) {
  std::string name = target.filename().string().substr(0, NAME_MAX - kUnique.size());
  return target.parent_path() / name.append(kUnique);
}

std::string descriptorPath(int file) { return "/proc/self/fd/" + std::to_string(file); }

}  // namespace

FileReplacement::FileReplacement(const std::filesystem::path& path, Kind kind)
    : target_(std::filesystem::absolute(linkTarget(path))) {
  [[maybe_unused]] static const int registered = std::at_quick_exit(removeAll);
  if (kind == Kind::withoutName) openWithoutName();
  if (!file_) openNamed();
  try {
    keepMode();
  } catch (...) {
    discard();
    throw;
  }
}

FileReplacement::~FileReplacement() { discard(); }

void FileReplacement::discard() {
  const std::scoped_lock lock(unfinished().mutex);
  if (path_.empty()) return;
  ::unlink(path_.c_str());
  unfinished().files.erase(path_);
}

void FileReplacement::openWithoutName() {
  UniqueFd file(::open(target_.parent_path().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, kPrivateFile));
  // What it is named through later.
  if (file && ::access(descriptorPath(file.get()).c_str(), F_OK) == 0) file_ = std::move(file);
}

void FileReplacement::openNamed() {
  std::string name = nameBeside(target_);
  const std::scoped_lock lock(unfinished().mutex);
  file_.reset(::mkostemp(name.data(), O_CLOEXEC));
  if (!file_) fail("Cannot create a file beside", target_);
  path_ = std::move(name);
  unfinished().files.insert(path_);
}

void FileReplacement::keepMode() {
  struct stat status;
  const mode_t mode = ::stat(target_.c_str(), &status) == 0 ? status.st_mode & kModeBits : kPrivateFile;
  if (::fchmod(file_.get(), mode) != 0) fail("Cannot set the mode of", target_);
}

void FileReplacement::write(std::string_view contents) {
  if (!writeAll(file_.get(), contents)) fail("Cannot write", target_);
}

void FileReplacement::giveName() {
  constexpr int kTries = 100;
  const std::scoped_lock lock(unfinished().mutex);
  for (int i = 0; i < kTries; ++i) {
    std::string name = nameBeside(target_);
    const std::string letters = Uuid::random().text().substr(0, kUnique.size() - 1);
    name.replace(name.size() - letters.size(), letters.size(), letters);
    if (::linkat(AT_FDCWD, descriptorPath(file_.get()).c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
      path_ = std::move(name);
      unfinished().files.insert(path_);
      return;
    }
    if (errno != EEXIST) break;
  }
  fail("Cannot create a file beside", target_);
}

void FileReplacement::putInPlace() {
  if (::fsync(file_.get()) != 0) fail("Cannot write", target_);
  if (path_.empty()) giveName();
  if (::rename(path_.c_str(), target_.c_str()) != 0) fail("Cannot replace", target_);
  {
    const std::scoped_lock lock(unfinished().mutex);
    unfinished().files.erase(std::exchange(path_, {}));
  }
  const UniqueFd folder(::open(target_.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) ::fsync(folder.get());
}

}  // namespace ravant
