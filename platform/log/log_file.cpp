#include "platform/log/log_file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ravant {

LogFile::LogFile(const std::filesystem::path& folder)
    : folder_(folder), current_(folder / "ravant.log"), old_(folder / "ravant.1.log") {
  open();
}

void LogFile::append(std::string_view record) noexcept {
  if (!file_ || !isCurrent()) open();
  if (isFull(record.size())) rotate();
  // One call a record: what is appended at once stays together.
  [[maybe_unused]] const ssize_t written = ::write(file_.get(), record.data(), record.size());
}

void LogFile::open() noexcept {
  file_.reset(::open(current_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0600));
}

bool LogFile::isFull(std::size_t recordSize) const noexcept {
  struct stat status;
  return ::fstat(file_.get(), &status) == 0 && static_cast<std::size_t>(status.st_size) + recordSize > kMaxSize;
}

bool LogFile::isCurrent() const noexcept {
  struct stat opened;
  struct stat named;
  return ::fstat(file_.get(), &opened) == 0 && ::stat(current_.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

void LogFile::rotate() noexcept {
  const UniqueFd folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ::flock(folder.get(), LOCK_EX);
  if (isCurrent()) ::rename(current_.c_str(), old_.c_str());
  open();
}

}  // namespace ravant
