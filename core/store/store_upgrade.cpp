#include "core/store/store_upgrade.hpp"

#include <fmt/format.h>

#include <string>
#include <system_error>

#include "core/store/database_files.hpp"
#include "core/store/store_error.hpp"
#include "platform/log/log.hpp"
#include "platform/sqlite/database.hpp"
#include "platform/sqlite/transaction.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");
constexpr std::chrono::hours kNoLimit{24};

void runSteps(sqlite::Database& database, std::span<const Migration> steps) {
  database.setForeignKeys(sqlite::ForeignKeys::ignored);  // a step may rebuild a table that others refer to
  sqlite::Transaction transaction(database);
  for (auto version = database.userVersion(); version < std::ssize(steps); ++version) {
    database.execute(std::string(steps[static_cast<std::size_t>(version)].script).c_str());
    database.setUserVersion(version + 1);
  }
  if (database.prepare("PRAGMA foreign_key_check").query().step()) {
    throw std::runtime_error("the upgraded copy refers to rows that are not there");
  }
  transaction.commit();
  database.setForeignKeys(sqlite::ForeignKeys::enforced);
}

}  // namespace

StoreFormat inspectStore(StoreFile& file, std::span<const Migration> steps) {
  sqlite::Database& database = file.connection();
  const auto version = database.userVersion();
  if (database.applicationId() != kApplicationId) {
    // A creation that a power cut stopped may have left an empty database.
    const bool isEmpty = version == 0 && !database.prepare("SELECT 1 FROM sqlite_schema").query().step();
    if (isEmpty) return StoreFormat::absent;
    throw StoreError(StoreError::Case::notAStore, file.path());
  }
  if (version > std::ssize(steps)) {
    throw StoreError(StoreError::Case::newerVersion, file.path(),
                     fmt::format("store version {}, this program knows {}", version, steps.size()));
  }
  return version == std::ssize(steps) ? StoreFormat::current : StoreFormat::older;
}

void createStore(const std::filesystem::path& file, std::span<const Migration> steps) {
  sqlite::Database database(file);
  database.useWriteAheadLog();
  database.setSynchronous(sqlite::Synchronous::full);
  sqlite::Transaction transaction(database);
  for (const Migration& step : steps) database.execute(std::string(step.script).c_str());
  database.setUserVersion(static_cast<int>(steps.size()));
  database.setApplicationId(kApplicationId);
  transaction.commit();
}

void upgradeStore(const std::filesystem::path& file, std::span<const Migration> steps, Timestamp now) try {
  const std::filesystem::path copy = file.string() + ".upgrading";
  removeWithJournals(copy);
  std::filesystem::path kept;
  {
    sqlite::Database current(file, {.access = sqlite::Access::readWrite});
    kept = KeptStore{.version = current.userVersion(), .upgradedAt = now}.nameFor(file);
    current.backupTo(copy);
  }
  {
    sqlite::Database upgraded(copy, {.access = sqlite::Access::readWrite});
    runSteps(upgraded, steps);
    const auto result = upgraded.integrityCheck(kNoLimit);
    if (result.verdict != sqlite::CheckResult::Verdict::sound) {
      throw StoreError(StoreError::Case::damaged, file, "its upgraded copy: " + result.words);
    }
    upgraded.useWriteAheadLog();
  }
  syncToDisk(copy);
  // A journal that stays behind would be taken for that of the upgraded file. Closing merged it.
  const std::filesystem::path journal = file.string() + "-wal";
  if (std::filesystem::exists(journal) && std::filesystem::file_size(journal) > 0) {
    throw StoreError(StoreError::Case::upgradeBlocked, file);
  }
  std::filesystem::create_hard_link(file, kept);
  std::filesystem::rename(copy, file);
  syncToDisk(file.parent_path());
  kLog.info("upgraded {} to version {}; the previous file is kept as {}", file.string(), steps.size(), kept.string());
} catch (const sqlite::Error& error) {
  using enum sqlite::Error::Case;
  const auto reason = error.reason();
  if (reason != full && reason != readOnly && reason != cannotOpen) throw;
  throw StoreError(StoreError::Case::notUpgraded, file, error.what());
} catch (const std::system_error& error) {
  throw StoreError(StoreError::Case::notUpgraded, file, error.what());
}

}  // namespace ravant
