#include "runners/session_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/text/line_buffer.hpp"

namespace ravant {
namespace {

constexpr std::size_t kKeptOfLongLine = 64 * 1024;

ssize_t readSome(int fd, char* to, std::size_t size, std::int64_t offset) {
  for (;;) {
    const ssize_t count = ::pread(fd, to, size, offset);
    if (count >= 0 || errno != EINTR) return count;
  }
}

}  // namespace

SessionFile::SessionFile(std::filesystem::path path) : path_(std::move(path)) {
  fd_.reset(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status{};
  if (!fd_ || ::fstat(fd_.get(), &status) != 0) fail();
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    fail();
  }
  inode_ = static_cast<std::int64_t>(status.st_ino);
  size_ = status.st_size;
}

std::int64_t SessionFile::eachLine(const std::function<bool(std::string_view line, std::int64_t offset)>& take) const {
  LineBuffer buffer;
  std::int64_t lineOffset = 0;
  std::string beginning;     // of a line that is too long
  std::int64_t dropped = 0;  // of its bytes
  for (std::int64_t offset = 0;;) {
    while (const auto line = buffer.tryNext()) {
      const std::int64_t size = std::exchange(dropped, 0) + static_cast<std::int64_t>(line->size());
      const std::int64_t begin = std::exchange(lineOffset, lineOffset + size + 1);
      const bool isWhole = beginning.empty();
      if (!take(isWhole ? *line : std::string_view(beginning), begin)) return begin;
      beginning.clear();
    }
    if (const std::string_view read = buffer.unread(); read.size() > (beginning.empty() ? kLongestLine : 0)) {
      if (beginning.empty()) beginning = read.substr(0, kKeptOfLongLine);
      dropped += static_cast<std::int64_t>(read.size());
      buffer.clear();
      buffer.releaseMemory();
    }
    // What is appended meanwhile is for another time.
    const auto room = buffer.room();
    const auto wanted = std::min(room.size(), static_cast<std::size_t>(std::max<std::int64_t>(size_ - offset, 0)));
    const ssize_t count = wanted == 0 ? 0 : readSome(fd_.get(), room.data(), wanted, offset);
    if (count < 0) fail();
    if (count == 0) return lineOffset;
    buffer.commit(static_cast<std::size_t>(count));
    offset += count;
  }
}

std::optional<std::string> SessionFile::firstLine() const {
  std::optional<std::string> first;
  eachLine([&](std::string_view line, std::int64_t) {
    first = line;
    return false;
  });
  return first;
}

std::string SessionFile::read(std::int64_t offset, std::size_t length) const {
  std::string text(length, '\0');
  for (std::size_t done = 0; done < length;) {
    const ssize_t count =
        readSome(fd_.get(), text.data() + done, length - done, offset + static_cast<std::int64_t>(done));
    if (count < 0) fail();
    if (count == 0) {
      errno = EIO;  // it was cut since it was looked at
      fail();
    }
    done += static_cast<std::size_t>(count);
  }
  return text;
}

void SessionFile::fail() const {
  throw std::filesystem::filesystem_error("read", path_, std::error_code(errno, std::generic_category()));
}

}  // namespace ravant
