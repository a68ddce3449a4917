#include "core/store/disk_reserve.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "platform/log/log.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");
constexpr off_t kSize = 4 * 1024 * 1024;
constexpr off_t kPage = 4096;
constexpr std::chrono::seconds kTryInterval{5};

/// Whether what frees the disk still has its room when the file is there again.
bool hasRoomBeside(const std::filesystem::path& file) {
  struct statvfs disk{};
  return ::statvfs(file.parent_path().c_str(), &disk) == 0 && disk.f_bavail * disk.f_frsize >= 2 * kSize;
}

off_t sizeOf(const UniqueFd& file) {
  struct stat status{};
  return ::fstat(file.get(), &status) == 0 ? status.st_size : 0;
}

}  // namespace

DiskReserve::~DiskReserve() {
  if (isReleased_) keep();
}

void DiskReserve::keep() {
  const UniqueFd file(::open(file_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  if (!file) return;
  off_t kept = sizeOf(file);
  off_t refused = kSize + kPage;
  for (off_t wanted = kSize; refused - kept > kPage; wanted = (kept + refused) / 2 / kPage * kPage) {
    (::posix_fallocate(file.get(), 0, wanted) == 0 ? kept : refused) = wanted;
  }
  // A failed attempt can leave a part of itself.
  if (::ftruncate(file.get(), kept) != 0 || kept == 0) ::unlink(file_.c_str());
}

bool DiskReserve::release() {
  if (::unlink(file_.c_str()) != 0) return false;
  kLog.warning("the disk is full: {} was given up", file_.string());
  isReleased_ = true;
  return true;
}

void DiskReserve::tryToKeepAgain() {
  const Time now = std::chrono::steady_clock::now();
  Time due = nextTry_;
  const bool isMine = now >= due && nextTry_.compare_exchange_strong(due, now + kTryInterval);
  if (!isMine || !hasRoomBeside(file_)) return;
  isReleased_ = false;
  keep();
}

}  // namespace ravant
