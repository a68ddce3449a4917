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

#include "platform/files/private_file.hpp"
#include "platform/files/write_all.hpp"

namespace ravant {
namespace {

constexpr mode_t kPrivateFile = 0600;
constexpr mode_t kEverybodysFile = 0666;
constexpr mode_t kModeBits = 07777;

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
  constexpr std::string_view kUnique = ".XXXXXX";
  std::string name = target.filename().string().substr(0, NAME_MAX - kUnique.size());
  return target.parent_path() / name.append(kUnique);
}

/// The process's mask can be read only by setting it; new files are made with the default meanwhile.
mode_t userMask() {
  const mode_t mask = ::umask(077);
  ::umask(mask);
  return mask;
}

}  // namespace

FileReplacement::FileReplacement(const std::filesystem::path& path, NewFile newFile)
    : target_(std::filesystem::absolute(linkTarget(path))), path_(nameBeside(target_)) {
  [[maybe_unused]] static const int registered = std::at_quick_exit(removeAll);
  const std::scoped_lock lock(unfinished().mutex);
  file_.reset(::mkostemp(path_.data(), O_CLOEXEC));
  if (!file_) fail("Cannot create a file beside", target_);
  unfinished().files.insert(path_);
  try {
    keepMode(newFile);
  } catch (...) {
    ::unlink(path_.c_str());
    unfinished().files.erase(path_);
    throw;
  }
}

FileReplacement::~FileReplacement() {
  const std::scoped_lock lock(unfinished().mutex);
  if (!isInPlace_) ::unlink(path_.c_str());
  unfinished().files.erase(path_);
}

void FileReplacement::keepMode(NewFile newFile) {
  const mode_t fresh = newFile == NewFile::forOwnerAlone ? kPrivateFile : kEverybodysFile & ~userMask();
  struct stat status;
  const mode_t mode = ::stat(target_.c_str(), &status) == 0 ? status.st_mode & kModeBits : fresh;
  if (::fchmod(file_.get(), mode) != 0) fail("Cannot set the mode of", path_);
}

void FileReplacement::write(std::string_view contents) {
  if (!writeAll(file_.get(), contents)) fail("Cannot write", path_);
}

void FileReplacement::putInPlace() {
  if (::fsync(file_.get()) != 0) fail("Cannot write", path_);
  if (::rename(path_.c_str(), target_.c_str()) != 0) fail("Cannot replace", target_);
  isInPlace_ = true;
  const UniqueFd folder(::open(target_.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) ::fsync(folder.get());
}

}  // namespace ravant
