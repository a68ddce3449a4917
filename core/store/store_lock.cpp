#include "core/store/store_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <system_error>
#include <thread>

#include "platform/files/private_file.hpp"

namespace ravant {
namespace {

constexpr std::chrono::milliseconds kRetryInterval{10};

}  // namespace

StoreLock::StoreLock(const std::filesystem::path& file)
    : file_(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  if (file_) return;
  fault_ = {errno, std::generic_category()};
  if (!isUnwritable(fault_.value())) throw std::system_error(fault_, file.string());
  file_.reset(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
}

bool StoreLock::share(std::chrono::milliseconds limit) { return !file_ || lock(LOCK_SH, limit); }

bool StoreLock::takeAlone(std::chrono::milliseconds limit) {
  if (!file_) return false;
  ::flock(file_.get(), LOCK_UN);
  return lock(LOCK_EX, limit);
}

bool StoreLock::lock(int operation, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (::flock(file_.get(), operation | LOCK_NB) != 0) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kRetryInterval);
  }
  return true;
}

}  // namespace ravant
