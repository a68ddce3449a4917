#include "platform/files/write_all.hpp"

#include <unistd.h>

#include <cerrno>

namespace ravant {

bool writeAll(int file, std::string_view contents) {
  while (!contents.empty()) {
    const ssize_t count = ::write(file, contents.data(), contents.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) contents.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace ravant
