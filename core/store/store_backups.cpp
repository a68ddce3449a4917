#include "core/store/store_backups.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <tuple>

#include "core/store/database_files.hpp"
#include "core/store/store_error.hpp"
#include "core/store/store_lock.hpp"
#include "platform/log/log.hpp"
#include "platform/sqlite/database.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.core", "Persistence");
constexpr std::chrono::seconds kUseOfOthersLimit{2};
constexpr std::chrono::hours kNoLimit{24};

std::filesystem::path storeIn(const std::filesystem::path& folder) { return folder / "store.sqlite"; }

bool isThere(const std::filesystem::path& file) {
  return std::filesystem::exists(std::filesystem::symlink_status(file));
}

/// Without a log it is read as it stands, so that nothing is made beside it.
sqlite::Database openToRead(const std::filesystem::path& file) {
  std::error_code missing;
  const auto logSize = std::filesystem::file_size(withEnding(file, "-wal"), missing);
  const bool hasLog = !missing && logSize > 0;
  return sqlite::Database(file, {.access = hasLog ? sqlite::Access::readOnly : sqlite::Access::readUnchanging});
}

/// Why this program could not use it as a store.
std::optional<std::string> objectionTo(sqlite::Database& database, std::span<const Migration> steps) {
  const auto version = database.userVersion();
  if (database.applicationId() != kApplicationId || version < 1) return "it is no Ravant store";
  if (version <= std::ssize(steps)) return std::nullopt;
  return fmt::format("it was written by a newer Ravant (store version {}, this program knows {})", version,
                     steps.size());
}

std::optional<std::string> damageIn(const sqlite::CheckResult& result) {
  if (result.verdict != sqlite::CheckResult::Verdict::faulty) return std::nullopt;
  return fmt::format("it is damaged ({})", result.words.substr(0, result.words.find('\n')));
}

std::optional<std::string> faultOf(const std::filesystem::path& file, std::chrono::milliseconds limit,
                                   std::span<const Migration> steps) try {
  sqlite::Database database = openToRead(file);
  if (auto objection = objectionTo(database, steps)) return objection;
  return damageIn(database.quickCheck(limit));
} catch (const sqlite::Error& error) {
  return fmt::format("it cannot be read ({})", error.what());
}

/// A checked copy of a store, beside the one whose place it is to take.
class CheckedCopy {
 public:
  CheckedCopy(const std::filesystem::path& backup, const std::filesystem::path& store, std::span<const Migration> steps)
      : file_(withEnding(store, ".restoring")) {
    removeWithJournals(file_);
    try {
      make(backup, steps);
    } catch (...) {
      discard();
      throw;
    }
  }
  ~CheckedCopy() { discard(); }
  CheckedCopy(const CheckedCopy&) = delete;
  CheckedCopy& operator=(const CheckedCopy&) = delete;

  const std::filesystem::path& file() const { return file_; }

 private:
  void make(const std::filesystem::path& backup, std::span<const Migration> steps) {
    const auto expect = [&](const std::optional<std::string>& fault) {
      if (fault) throw std::runtime_error(fmt::format("{}: {}", backup.string(), *fault));
    };
    {
      sqlite::Database source = openToRead(backup);
      expect(objectionTo(source, steps));
      source.backupTo(file_);
    }
    {
      sqlite::Database copy(file_, {.access = sqlite::Access::readWrite});
      expect(damageIn(copy.integrityCheck(kNoLimit)));
      copy.useWriteAheadLog();
    }
    for (const std::string_view journal : kJournals) {
      if (isThere(withEnding(file_, journal))) throw std::runtime_error("the copy could not be completed");
    }
    syncToDisk(file_);
  }

  void discard() noexcept {
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
    for (const std::string_view journal : kJournals) std::filesystem::remove(withEnding(file_, journal), ignored);
  }

  std::filesystem::path file_;
};

/// Gives the store's files a second name each. They lose it again, unless they are to keep it.
class SecondNames {
 public:
  SecondNames(const std::filesystem::path& store, Timestamp now) : store_(store), base_(freeName(store, now)) {
    try {
      add("");
      for (const std::string_view journal : kJournals) add(journal);
      syncToDisk(store.parent_path());
    } catch (...) {
      takeBack();
      throw;
    }
  }
  ~SecondNames() {
    if (!areKept_) takeBack();
  }
  SecondNames(const SecondNames&) = delete;
  SecondNames& operator=(const SecondNames&) = delete;

  /// The second names stay. Nothing where there was no file.
  std::optional<std::filesystem::path> keep() {
    areKept_ = true;
    return endings_.empty() ? std::nullopt : std::optional(base_);
  }

 private:
  static std::filesystem::path freeName(const std::filesystem::path& store, Timestamp now) {
    for (int attempt = 1;; ++attempt) {
      const std::string number = attempt == 1 ? "" : fmt::format("-{}", attempt);
      std::filesystem::path name = store.parent_path() / fmt::format("{}-before-restore-{}{}{}", store.stem().string(),
                                                                     fileTime(now), number, store.extension().string());
      const auto isTaken = [&](std::string_view journal) { return isThere(withEnding(name, journal)); };
      if (!isThere(name) && std::ranges::none_of(kJournals, isTaken)) return name;
    }
  }

  void add(std::string_view ending) {
    const std::filesystem::path file = withEnding(store_, ending);
    if (!isThere(file)) return;
    std::filesystem::create_hard_link(file, withEnding(base_, ending));
    endings_.push_back(ending);
  }

  void takeBack() noexcept {
    std::error_code ignored;
    for (const std::string_view ending : endings_) {
      if (std::filesystem::exists(std::filesystem::symlink_status(withEnding(store_, ending), ignored))) {
        std::filesystem::remove(withEnding(base_, ending), ignored);
      } else {
        std::filesystem::rename(withEnding(base_, ending), withEnding(store_, ending), ignored);
      }
    }
  }

  std::filesystem::path store_;
  std::filesystem::path base_;
  std::vector<std::string_view> endings_;
  bool areKept_ = false;
};

RestoredStore restore(const std::filesystem::path& store, const std::filesystem::path& backup, Timestamp now,
                      std::span<const Migration> steps) {
  if (!std::filesystem::is_regular_file(backup)) {
    throw std::runtime_error(fmt::format("{}: there is no such file", backup.string()));
  }
  std::error_code missing;
  if (std::filesystem::equivalent(backup, store, missing)) {
    throw std::runtime_error(fmt::format("{} is the store itself", backup.string()));
  }
  const std::filesystem::path folder = store.parent_path();
  StoreLock lock(std::filesystem::path(store).replace_extension("lock"));
  if (lock.fault()) throw std::system_error(lock.fault(), folder.string());
  if (!lock.takeAlone(kUseOfOthersLimit)) {
    throw std::runtime_error("another Ravant is using it; end that one and try again");
  }
  const CheckedCopy copy(backup, store, steps);
  SecondNames previous(store, now);
  // A journal that stays behind would be taken for that of the copy.
  for (const std::string_view journal : kJournals) std::filesystem::remove(withEnding(store, journal));
  syncToDisk(folder);
  std::filesystem::rename(copy.file(), store);
  RestoredStore restored{.setAside = previous.keep()};
  try {
    syncToDisk(folder);
  } catch (const std::system_error& error) {
    kLog.warning("whether the store is on the disk is not known: {}", error.what());
  }
  kLog.info("{} is that of {}; the previous one is kept as {}", store.string(), backup.string(),
            restored.setAside.value_or("").string());
  return restored;
}

}  // namespace

std::vector<StoreBackup> storeBackups(const std::filesystem::path& folder, std::chrono::milliseconds limit,
                                      std::span<const Migration> steps) {
  std::vector<StoreBackup> backups;
  std::error_code unreadable;
  for (const auto& entry : std::filesystem::directory_iterator(folder, unreadable)) {
    const auto kept = KeptStore::read(entry.path().filename(), storeIn(folder));
    if (!kept || !entry.is_regular_file(unreadable)) continue;
    backups.push_back({.file = entry.path(),
                       .version = kept->version,
                       .madeAt = kept->upgradedAt,
                       .fault = faultOf(entry.path(), limit, steps)});
  }
  std::ranges::sort(backups, std::greater(),
                    [](const StoreBackup& backup) { return std::tuple(backup.madeAt, backup.version); });
  return backups;
}

RestoredStore restoreFromBackup(const std::filesystem::path& folder, const std::filesystem::path& backup, Timestamp now,
                                std::span<const Migration> steps) try {
  return restore(storeIn(folder), backup, now, steps);
} catch (const std::runtime_error& error) {
  throw StoreError(StoreError::Case::notRestored, storeIn(folder), error.what());
}

}  // namespace ravant
