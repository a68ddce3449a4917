#include "core/store/model_container.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "core/store/store_error.hpp"
#include "platform/files/private_file.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");
constexpr std::chrono::seconds kUpgradeOfOtherLimit{60};
constexpr std::chrono::seconds kUseOfOthersLimit{2};
constexpr std::chrono::seconds kCheckLimit{2};
constexpr std::chrono::hours kCheckInterval{24};

std::filesystem::path preparedFolder(const std::filesystem::path& folder) {
  try {
    makePrivateFolder(folder);
    return folder / "store.sqlite";
  } catch (const std::filesystem::filesystem_error& error) {
    throw StoreError(StoreError::Case::folderUnusable, folder / "store.sqlite", error.code().message());
  }
}

/// None where it cannot be written.
UniqueFd openNotice(const std::filesystem::path& path) {
  UniqueFd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, 0600));
  if (!file && !isUnwritable(errno)) throw std::system_error(errno, std::generic_category(), path.string());
  return file;
}

std::filesystem::path beside(const std::filesystem::path& file, const char* extension) {
  return std::filesystem::path(file).replace_extension(extension);
}

}  // namespace

std::shared_ptr<ModelContainer> ModelContainer::open(ModelContainerOptions options, Check check) {
  const std::filesystem::path file = preparedFolder(options.folder);
  try {
    return std::make_shared<ModelContainer>(std::move(options), check);
  } catch (const sqlite::Error& error) {
    throw StoreError::from(error, file);
  } catch (const std::system_error& error) {
    throw StoreError(StoreError::Case::folderUnusable, file, error.what());
  }
}

ModelContainer::ModelContainer(ModelContainerOptions options, Check check)
    : options_(std::move(options)),
      file_(options_.folder / "store.sqlite"),
      reserve_(beside(file_, "reserve")),
      lock_(beside(file_, "lock")) {
  prepareFile();
  sqlite::Database connection = storeFile_->takeConnection();
  connection.setSynchronous(sqlite::Synchronous::normal);
  if (isWritable()) reserve_.keep();
  checkContent(connection, check);
  notice_ = openNotice(beside(file_, "changes"));
  changeFeed_ = std::make_shared<ChangeFeed>(options_.work, std::move(connection), beside(file_, "changes"));
}

void ModelContainer::prepareFile() {
  if (!lock_.share(kUpgradeOfOtherLimit)) throw StoreError(StoreError::Case::busy, file_, "it is being upgraded");
  const StoreFormat format = openFile();
  if (format == StoreFormat::current) return;

  if (lock_.fault()) {
    const auto kind = format == StoreFormat::absent ? StoreError::Case::folderUnusable : StoreError::Case::notUpgraded;
    throw StoreError(kind, file_, lock_.fault().message());
  }
  if (!lock_.takeAlone(kUseOfOthersLimit)) throw StoreError(StoreError::Case::upgradeBlocked, file_);
  const StoreFormat present = openFile();  // another process may have been first
  storeFile_.reset();
  switch (present) {
    case StoreFormat::absent:
      createStore(file_, options_.migrations);
      break;
    case StoreFormat::older:
      upgradeStore(file_, options_.migrations, options_.clock->now());
      break;
    case StoreFormat::current:
      break;
  }
  storeFile_.emplace(file_, options_.largestEntry, reserve_);
  if (!lock_.share(kUpgradeOfOtherLimit)) throw StoreError(StoreError::Case::busy, file_, "it is being upgraded");
}

StoreFormat ModelContainer::openFile() {
  if (!std::filesystem::exists(file_) || std::filesystem::file_size(file_) == 0) return StoreFormat::absent;
  storeFile_.emplace(file_, options_.largestEntry, reserve_);
  return inspectStore(*storeFile_, options_.migrations);
}

void ModelContainer::checkContent(sqlite::Database& database, Check check) {
  std::optional<Timestamp> lastChecked;
  {
    auto statement = database.prepare("SELECT checked_at FROM integrity_check");
    auto query = statement.query();
    if (query.step()) lastChecked = Timestamp(std::chrono::microseconds(query.int64(0)));
  }
  const Timestamp now = options_.clock->now();
  const bool isDue = !lastChecked || now - *lastChecked > kCheckInterval || *lastChecked > now;
  if (check == Check::usual && (!isDue || !isWritable())) return;

  const auto result = database.quickCheck(kCheckLimit);
  switch (result.verdict) {
    case sqlite::CheckResult::Verdict::faulty:
      throw StoreError(StoreError::Case::damaged, file_, result.words);
    case sqlite::CheckResult::Verdict::notFinished:
      kLog.info("{}: no fault found within the time limit of the check", file_.string());
      break;
    case sqlite::CheckResult::Verdict::sound:
      break;
  }
  if (!isWritable()) return;
  try {
    database.prepare("INSERT INTO integrity_check VALUES (1, ?1) ON CONFLICT DO UPDATE SET checked_at = ?1")
        .run(now.time_since_epoch().count());
  } catch (const sqlite::Error& error) {
    kLog.warning("that the store was checked could not be noted: {}", error.what());
  }
}

sqlite::Database ModelContainer::connect() const {
  try {
    {
      const std::scoped_lock lock(spareMutex_);
      if (spare_) return *std::exchange(spare_, std::nullopt);
    }
    sqlite::Database database = storeFile_->connect();
    database.setSynchronous(sqlite::Synchronous::normal);
    return database;
  } catch (const sqlite::Error& error) {
    throw StoreError::from(error, file_);
  }
}

void ModelContainer::giveBack(sqlite::Database connection) const {
  try {
    connection.setBusyTimeout(sqlite::OpenOptions().busyTimeout);
    connection.setSynchronous(sqlite::Synchronous::normal);
    const std::scoped_lock lock(spareMutex_);
    spare_.emplace(std::move(connection));
  } catch (const sqlite::Error& error) {
    kLog.warning("a connection is closed: {}", error.what());
  }
}

void ModelContainer::expectInPlace() const {
  if (!storeFile_->isInPlace()) throw StoreError(StoreError::Case::replaced, file_);
}

StoreError ModelContainer::explained(const sqlite::Error& error) const {
  const StoreError plain = StoreError::from(error, file_);
  const bool hasReason = plain.kind() == StoreError::Case::readOnly && !storeFile_->obstacle().empty();
  return hasReason ? StoreError(plain.kind(), file_, storeFile_->obstacle()) : plain;
}

void ModelContainer::expectUnchanged() const {
  if (storeFile_->isUnchanged()) return;
  throw StoreError(StoreError::Case::busy, file_, "it was changed while it was read; try again");
}

void ModelContainer::announceCommit() const {
  // What the byte is does not matter: observers watch the file for being written.
  const char byte = 0;
  if (::pwrite(notice_.get(), &byte, 1, 0) != 1) kLog.warning("observers could not be told of a commit");
}

}  // namespace ravant
