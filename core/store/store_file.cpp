#include "core/store/store_file.hpp"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "core/store/disk_reserve.hpp"
#include "platform/files/scratch_folder.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");
constexpr const char* kCopy = "store.sqlite";

/// Why nothing can be written beside the file, which SQLite does not always say.
std::string obstacleAt(const std::filesystem::path& file, const sqlite::Error& error) {
  if (::access(file.parent_path().c_str(), W_OK) != 0) return std::generic_category().message(errno);
  struct statvfs disk{};
  const bool isFull = ::statvfs(file.c_str(), &disk) == 0 && disk.f_bavail == 0;
  return isFull ? "the disk is full" : error.what();
}

/// The store with its log.
std::shared_ptr<const ScratchFolder> privateCopy(const std::filesystem::path& store, const std::filesystem::path& log) {
  auto copy = std::make_shared<const ScratchFolder>("ravant-store");
  std::filesystem::copy_file(store, copy->path() / kCopy);
  std::filesystem::copy_file(log, copy->path() / (std::string(kCopy) + "-wal"));
  return copy;
}

}  // namespace

StoreFile::StoreFile(std::filesystem::path path, std::optional<std::int32_t> largestRow, DiskReserve& reserve)
    : path_(std::move(path)), largestRow_(largestRow), opened_(stampOf(path_)), openedLog_(stampOf(log())) {
  if (canOpenInPlace(reserve)) return;
  opened_ = stampOf(path_);
  openedLog_ = stampOf(log());  // which the attempt can have made
  std::error_code missing;
  const auto logSize = std::filesystem::file_size(log(), missing);
  access_ = !missing && logSize > 0 ? Access::privateCopy : Access::unchanging;
  if (access_ == Access::privateCopy) copy_ = privateCopy(path_, log());
  connection_ = connect();
  connection_->userVersion();
}

bool StoreFile::canOpenInPlace(DiskReserve& reserve) {
  try {
    try {
      openInPlace();
    } catch (const sqlite::Error& error) {
      using enum sqlite::Error::Case;
      const bool isRoomMissing = error.reason() == full || error.reason() == ioError;
      if (!isRoomMissing || !reserve.release()) throw;
      openInPlace();
    }
    return true;
  } catch (const sqlite::Error& error) {
    using enum sqlite::Error::Case;
    switch (error.reason()) {
      case full:
      case readOnly:
      case cannotOpen:
      case ioError:
        obstacle_ = obstacleAt(path_, error);
        kLog.warning("{} is only read: {} ({})", path_.string(), obstacle_, error.what());
        return false;
      default:
        throw;
    }
  }
}

void StoreFile::openInPlace() {
  access_ = Access::readWrite;
  sqlite::Database database = connect();
  database.userVersion();
  if (database.isReadOnly()) access_ = Access::readOnly;
  connection_ = std::move(database);
}

sqlite::Database StoreFile::connect() const {
  sqlite::OpenOptions options{.access = sqlite::Access::readWrite, .largestRow = largestRow_};
  switch (access_) {
    case Access::readWrite:
    case Access::readOnly:
      return sqlite::Database(path_, options);
    case Access::unchanging:
      options.access = sqlite::Access::readUnchanging;
      return sqlite::Database(path_, options);
    case Access::privateCopy:
      options.access = sqlite::Access::readOnly;
      return sqlite::Database(copy_->path() / kCopy, options);
  }
  __builtin_unreachable();
}

bool StoreFile::isInPlace() const {
  const Stamp present = stampOf(path_);
  return std::get<0>(present) == std::get<0>(opened_) && std::get<1>(present) == std::get<1>(opened_);
}

bool StoreFile::isUnchanged() const {
  return access_ != Access::unchanging || (stampOf(path_) == opened_ && stampOf(log()) == openedLog_);
}

StoreFile::Stamp StoreFile::stampOf(const std::filesystem::path& file) {
  struct stat status{};
  if (::stat(file.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::filesystem::path StoreFile::log() const { return path_.string() + "-wal"; }

}  // namespace ravant
