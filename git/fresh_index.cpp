#include "git/fresh_index.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <span>
#include <string_view>
#include <unordered_map>

#include "git/in_parts.hpp"
#include "platform/process/unique_fd.hpp"

namespace ravant::git {
namespace {

constexpr std::size_t kEntriesOfAThread = 5000;

bool isLeftOut(const git_index_entry& entry) { return (entry.flags_extended & GIT_INDEX_ENTRY_SKIP_WORKTREE) != 0; }

bool isOnlyIntended(const git_index_entry& entry) {
  return (entry.flags_extended & GIT_INDEX_ENTRY_INTENT_TO_ADD) != 0;
}

/// A time of a file in the index's form.
git_index_time indexTime(const timespec& time) {
  return {.seconds = static_cast<std::int32_t>(time.tv_sec), .nanoseconds = static_cast<std::uint32_t>(time.tv_nsec)};
}

auto parts(const git_index_time& time) { return std::pair(time.seconds, time.nanoseconds); }

std::uint32_t indexMode(mode_t mode) {
  if (S_ISLNK(mode)) return GIT_FILEMODE_LINK;
  if (!S_ISREG(mode)) return GIT_FILEMODE_UNREADABLE;
  return (mode & S_IXUSR) != 0 ? GIT_FILEMODE_BLOB_EXECUTABLE : GIT_FILEMODE_BLOB;
}

/// Looks at files one after another, as they stand in the index.
class Looker {
 public:
  Looker(const char* top, git_index_time indexIsFrom)
      : top_(::open(top, O_PATH | O_DIRECTORY | O_CLOEXEC)), indexIsFrom_(indexIsFrom) {}

  /// Adds the path to those of `scan` where it belongs.
  void look(const git_index_entry& entry, FilesThatMayDiffer& scan) {
    if (entry.mode == GIT_FILEMODE_COMMIT) return;
    struct stat file{};
    const std::string_view path = entry.path;
    const char* name = entry.path + (path.contains('/') ? path.rfind('/') + 1 : 0);
    if (::fstatat(folderOf(path), name, &file, AT_SYMLINK_NOFOLLOW) != 0) {
      if (!isLeftOut(entry)) scan.paths.emplace_back(path);
    } else if ((entry.mode == GIT_FILEMODE_LINK) != S_ISLNK(file.st_mode)) {
      scan.retyped.emplace_back(path);
    } else if (mayDiffer(entry, file)) {
      scan.paths.emplace_back(path);
    }
  }

 private:
  bool mayDiffer(const git_index_entry& entry, const struct stat& file) const {
    const bool isAsYoungAsTheIndex = parts(entry.mtime) >= parts(indexIsFrom_);
    return isAsYoungAsTheIndex || GIT_INDEX_ENTRY_STAGE(&entry) != 0 || isOnlyIntended(entry) ||
           entry.mode != indexMode(file.st_mode) || entry.file_size != static_cast<std::uint32_t>(file.st_size) ||
           parts(entry.mtime) != parts(indexTime(file.st_mtim)) ||
           parts(entry.ctime) != parts(indexTime(file.st_ctim)) ||
           entry.ino != static_cast<std::uint32_t>(file.st_ino) || entry.uid != file.st_uid || entry.gid != file.st_gid;
  }

  /// The folder that a path lies in, open until the next call; -1 where it is not in the working copy. Most paths lie
  /// in that of the one before.
  int folderOf(std::string_view path) {
    const std::string folder(parentOf(path));
    if (folder.empty()) return top_.get();
    if (folder != folder_) {
      folder_ = folder;
      opened_.reset(isReal(folder) ? openInTop(folder) : -1);
    }
    return opened_.get();
  }

  /// Whether neither the folder nor one above it is a link: what is behind one is not in the working copy.
  bool isReal(const std::string& folder) {
    if (folder.empty()) return true;
    const bool isNew = isReal_.try_emplace(folder, false).second;
    if (isNew && isReal(std::string(parentOf(folder)))) {
      struct stat found{};
      const bool isFolder =
          ::fstatat(top_.get(), folder.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(found.st_mode);
      isReal_[folder] = isFolder;
    }
    return isReal_[folder];
  }

  int openInTop(const std::string& folder) const {
    return ::openat(top_.get(), folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  }

  /// Empty for what is at the top.
  static std::string_view parentOf(std::string_view path) {
    return path.substr(0, path.contains('/') ? path.rfind('/') : 0);
  }

  UniqueFd top_;
  git_index_time indexIsFrom_;
  std::string folder_;
  UniqueFd opened_;
  std::unordered_map<std::string, bool> isReal_;
};

bool isSparseCheckout(git_repository* repository) {
  const auto config = own<Config>([&](git_config** found) { return git_repository_config(found, repository); });
  int isSparse = 0;
  return git_config_get_bool(&isSparse, config.get(), "core.sparseCheckout") == 0 && isSparse != 0;
}

}  // namespace

FreshIndex::FreshIndex(git_repository* repository)
    : handle_(own<Index>([&](git_index** found) { return git_repository_index(found, repository); })) {
  struct stat file{};
  if (::stat(git_index_path(handle_.get()), &file) == 0) isFrom_ = indexTime(file.st_mtim);
  const bool isSparse = isSparseCheckout(repository);
  check(git_index_read(handle_.get(), isSparse ? 1 : 0));  // anew, since it is not left as it was read
  if (isSparse) takeInWhatIsThere();
}

void FreshIndex::takeInWhatIsThere() {
  const std::string top = git_repository_workdir(git_index_owner(handle_.get()));
  std::vector<std::string> present;
  for (const git_index_entry* entry : entriesWith("")) {
    struct stat file{};
    const std::string path = top + entry->path;
    if (ravant::git::isLeftOut(*entry) && ::lstat(path.c_str(), &file) == 0) present.emplace_back(entry->path);
  }
  for (const std::string& path : present) {
    git_index_entry entry = *entryAt(path.c_str());
    entry.path = path.c_str();
    entry.flags_extended &= static_cast<std::uint16_t>(~GIT_INDEX_ENTRY_SKIP_WORKTREE);
    check(git_index_add(handle_.get(), &entry));
  }
}

bool FreshIndex::isOnlyIntended(const char* path) const {
  const git_index_entry* entry = entryAt(path);
  return entry != nullptr && ravant::git::isOnlyIntended(*entry);
}

std::vector<std::string> FreshIndex::onlyIntended(const std::string& prefix) const {
  std::vector<std::string> paths;
  for (const git_index_entry* entry : entriesWith(prefix)) {
    if (ravant::git::isOnlyIntended(*entry)) paths.emplace_back(entry->path);
  }
  return paths;
}

bool FreshIndex::isUndecided(const char* path) const {
  const git_index_entry* ancestor = nullptr;
  const git_index_entry* ours = nullptr;
  const git_index_entry* theirs = nullptr;
  return git_index_conflict_get(&ancestor, &ours, &theirs, handle_.get(), path) == 0;
}

bool FreshIndex::isLeftOut(const char* path) const {
  const git_index_entry* entry = entryAt(path);
  return entry != nullptr && ravant::git::isLeftOut(*entry);
}

std::optional<git_oid> FreshIndex::plainFile(const char* path) const {
  const git_index_entry* entry = entryAt(path);
  if (entry == nullptr || !isFile(entry->mode) || ravant::git::isLeftOut(*entry)) return std::nullopt;
  const bool isOrdinary = !ravant::git::isOnlyIntended(*entry) && (entry->flags & GIT_INDEX_ENTRY_VALID) == 0;
  return isOrdinary ? std::optional(entry->id) : std::nullopt;
}

std::vector<std::pair<std::string, git_oid>> FreshIndex::submodules(const std::string& prefix) const {
  std::vector<std::pair<std::string, git_oid>> found;
  for (const git_index_entry* entry : entriesWith(prefix)) {
    if (entry->mode == GIT_FILEMODE_COMMIT && GIT_INDEX_ENTRY_STAGE(entry) == 0) {
      found.emplace_back(entry->path, entry->id);
    }
  }
  return found;
}

FilesThatMayDiffer FreshIndex::filesThatMayDiffer(const std::string& prefix) const {
  const std::vector<const git_index_entry*> entries = entriesWith(prefix);
  const auto look = [&](std::span<const git_index_entry* const> some, std::size_t) {
    Looker looker(git_repository_workdir(git_index_owner(handle_.get())), isFrom_);
    FilesThatMayDiffer found;
    for (const git_index_entry* entry : some) looker.look(*entry, found);
    return found;
  };
  FilesThatMayDiffer found;
  for (FilesThatMayDiffer& part :
       inParts(std::span<const git_index_entry* const>(entries), threadsFor(entries.size(), kEntriesOfAThread), look)) {
    std::ranges::move(part.paths, std::back_inserter(found.paths));
    std::ranges::move(part.retyped, std::back_inserter(found.retyped));
  }
  return found;
}

const git_index_entry* FreshIndex::entryAt(const char* path) const {
  return git_index_get_bypath(handle_.get(), path, 0);
}

std::vector<const git_index_entry*> FreshIndex::entriesWith(const std::string& prefix) const {
  std::vector<const git_index_entry*> entries;
  for (std::size_t i = 0; i < git_index_entrycount(handle_.get()); ++i) {
    const git_index_entry* entry = git_index_get_byindex(handle_.get(), i);
    if (std::string_view(entry->path).starts_with(prefix)) entries.push_back(entry);
  }
  return entries;
}

}  // namespace ravant::git
