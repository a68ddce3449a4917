#pragma once

#include <unistd.h>

#include <utility>

namespace ravant {

/// Owns a file descriptor; -1 is none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int release() { return std::exchange(fd_, -1); }
  void reset(int fd = -1) {
    const int old = std::exchange(fd_, fd);
    if (old >= 0) ::close(old);
  }

 private:
  int fd_ = -1;
};

}  // namespace ravant
