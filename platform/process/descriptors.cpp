#include "platform/process/descriptors.hpp"

#include <fcntl.h>
#include <sys/resource.h>

#include <mutex>
#include <optional>
#include <vector>

namespace ravant {
namespace {

constexpr std::size_t kReserve = 4;

struct Reserve {
  std::mutex mutex;
  std::vector<UniqueFd> descriptors;
};

Reserve& reserve() {
  static Reserve kept;
  return kept;
}

std::optional<rlim_t>& limitAtStart() {
  static std::optional<rlim_t> limit;
  return limit;
}

}  // namespace

void useAllDescriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max) return;
  const rlim_t earlier = limit.rlim_cur;
  limit.rlim_cur = limit.rlim_max;
  if (::setrlimit(RLIMIT_NOFILE, &limit) == 0) limitAtStart() = earlier;
}

void restoreDescriptorLimit(pid_t child) {
  rlimit limit{};
  if (!limitAtStart() || ::prlimit(child, RLIMIT_NOFILE, nullptr, &limit) != 0) return;
  limit.rlim_cur = *limitAtStart();
  ::prlimit(child, RLIMIT_NOFILE, &limit, nullptr);
}

void descriptor_reserve::fill() {
  Reserve& kept = reserve();
  const std::lock_guard lock(kept.mutex);
  const int error = errno;
  while (kept.descriptors.size() < kReserve) {
    UniqueFd descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!descriptor) break;
    kept.descriptors.push_back(std::move(descriptor));
  }
  errno = error;
}

bool descriptor_reserve::release() {
  Reserve& kept = reserve();
  const std::lock_guard lock(kept.mutex);
  if (kept.descriptors.empty()) return false;
  kept.descriptors.pop_back();
  return true;
}

}  // namespace ravant
