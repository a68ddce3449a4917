#pragma once

#include <fcntl.h>
#include <sys/resource.h>

#include <cstddef>
#include <vector>

#include "platform/process/unique_fd.hpp"

namespace ravant::test {

/// The test's own soft limit of descriptors, until it goes out of scope. With 0 nothing can be opened.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(std::ptrdiff_t limit) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit lowered{.rlim_cur = static_cast<rlim_t>(limit), .rlim_max = before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &lowered);
  }
  ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_{};
};

/// All that the limit still allows but `except`.
inline std::vector<UniqueFd> takeAllDescriptors(std::size_t except = 0) {
  std::vector<UniqueFd> taken;
  for (;;) {
    UniqueFd descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!descriptor) break;
    taken.push_back(std::move(descriptor));
  }
  while (except-- > 0 && !taken.empty()) taken.pop_back();
  return taken;
}

}  // namespace ravant::test
