#include "platform/files/confined_folder.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <memory>
#include <optional>
#include <system_error>

#include "platform/files/write_all.hpp"
#include "platform/text/uuid.hpp"

namespace ravant {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kReadSize = 64 * 1024;
constexpr int kMaxLinks = 40;

[[noreturn]] void fail(int error) { throw ConfinedFileError(std::generic_category().message(error)); }

/// Asks again while the kernel was disturbed.
template <class Call>
int retried(Call call) {
  constexpr int kTries = 100;
  int result = call();
  for (int i = 0; result < 0 && (errno == EINTR || errno == EAGAIN) && i < kTries; ++i) result = call();
  return result;
}

struct stat statusOf(int file) {
  struct stat status;
  if (::fstat(file, &status) != 0) fail(errno);
  return status;
}

void expectRegular(const struct stat& status) {
  switch (status.st_mode & S_IFMT) {
    case S_IFREG:
      return;
    case S_IFDIR:
      throw ConfinedFileError("it is a folder");
    case S_IFCHR:
    case S_IFBLK:
      throw ConfinedFileError("it is a device");
    case S_IFIFO:
      throw ConfinedFileError("it is a pipe");
    case S_IFSOCK:
      throw ConfinedFileError("it is a socket");
    default:
      throw ConfinedFileError("it is no regular file");
  }
}

/// From `folder` to `path`, both absolute and normal; nothing where it is not inside.
std::optional<fs::path> pathInside(const fs::path& folder, const fs::path& path) {
  const fs::path relative = path.lexically_relative(folder);
  if (relative.empty() || *relative.begin() == "..") return std::nullopt;
  return relative;
}

fs::path withoutTrailingSlash(const fs::path& path) { return path.has_filename() ? path : path.parent_path(); }

/// Through the descriptor, so that it is the very same file.
std::string descriptorPath(int file) { return "/proc/self/fd/" + std::to_string(file); }

std::string linkTargetAt(int folder, const std::string& name) {
  std::array<char, PATH_MAX> target;
  const ssize_t size = ::readlinkat(folder, name.c_str(), target.data(), target.size());
  if (size < 0) fail(errno);
  return {target.data(), static_cast<std::size_t>(size)};
}

/// A new file in the folder of the one it will replace; removed unless it did.
class Replacement {
 public:
  explicit Replacement(int folder)
      : folder_(folder),
        name_(".ravant-" + Uuid::random().text()),
        file_(::openat(folder, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666)) {
    if (!file_) fail(errno);
  }
  ~Replacement() {
    if (!isInPlace_) ::unlinkat(folder_, name_.c_str(), 0);
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;

  void takeOver(const struct stat& former) {
    const struct stat own = statusOf(file_.get());
    // Only who may give files away can keep a foreign owner. Before the mode: a new owner can cost bits of it.
    const bool isOwn = (own.st_uid == former.st_uid && own.st_gid == former.st_gid) ||
                       ::fchown(file_.get(), former.st_uid, former.st_gid) == 0;
    if (::fchmod(file_.get(), former.st_mode & (isOwn ? 07777 : 0777)) != 0) fail(errno);
  }

  void write(std::string_view contents) {
    if (!writeAll(file_.get(), contents) || ::fsync(file_.get()) != 0) fail(errno);
  }

  void putInPlace(const std::string& name) {
    if (::renameat(folder_, name_.c_str(), folder_, name.c_str()) != 0) fail(errno);
    isInPlace_ = true;
  }

 private:
  int folder_;
  std::string name_;
  UniqueFd file_;
  bool isInPlace_ = false;
};

}  // namespace

fs::path ConfinedFolder::resolveConfined(std::string_view text) const {
  if (text.contains('\0')) fail(EINVAL);
  const fs::path path = fs::path(text).lexically_normal();
  if (path.is_absolute()) {
    std::error_code missing;
    for (const fs::path& folder : {folder_.lexically_normal(), fs::canonical(folder_, missing)}) {
      if (const auto inside = pathInside(withoutTrailingSlash(folder), path)) return withoutTrailingSlash(*inside);
    }
    throw ConfinementError();
  }
  if (path.empty()) return ".";
  if (*path.begin() == "..") throw ConfinementError();
  return withoutTrailingSlash(path);
}

std::string ConfinedFolder::read(std::string_view path, std::size_t limit) const {
  const UniqueFd file = openRegularFile(resolveConfined(path));
  std::string contents;
  for (std::size_t size = 0;;) {
    const std::size_t wanted = std::min(kReadSize, limit - size);
    contents.resize(size + wanted);
    const ssize_t count = ::read(file.get(), contents.data() + size, wanted);
    if (count < 0 && errno != EINTR) fail(errno);
    if (count > 0) size += static_cast<std::size_t>(count);
    contents.resize(size);
    if (count == 0) return contents;
  }
}

void ConfinedFolder::write(std::string_view path, std::string_view contents) const {
  const Place place = placeToWrite(resolveConfined(path));
  struct stat former;
  const bool exists = ::fstatat(place.folder.get(), place.name.c_str(), &former, AT_SYMLINK_NOFOLLOW) == 0;
  if (!exists && errno != ENOENT) fail(errno);
  if (exists) {
    expectRegular(former);
    if (::faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) != 0) fail(errno);
  }
  Replacement replacement(place.folder.get());
  if (exists) replacement.takeOver(former);
  replacement.write(contents);
  replacement.putInPlace(place.name);
}

std::vector<ConfinedFolder::Entry> ConfinedFolder::list(std::string_view path) const {
  const fs::path relative = resolveConfined(path);
  UniqueFd folder = open(relative, O_RDONLY | O_DIRECTORY);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(folder.get()), ::closedir);
  if (!stream) fail(errno);
  static_cast<void>(folder.release());  // the stream's now
  std::vector<Entry> entries;
  errno = 0;
  while (const dirent* found = ::readdir(stream.get())) {
    const std::string name = found->d_name;
    if (name == "." || name == "..") continue;
    const bool canBeFolder = found->d_type == DT_LNK || found->d_type == DT_UNKNOWN;
    entries.push_back(
        {.name = name, .isFolder = found->d_type == DT_DIR || (canBeFolder && isFolder(relative / name))});
    errno = 0;
  }
  if (errno != 0) fail(errno);
  std::ranges::sort(entries, {}, &Entry::name);
  return entries;
}

bool ConfinedFolder::isFolder(const fs::path& relative) const {
  try {
    return S_ISDIR(statusOf(open(relative, O_PATH).get()).st_mode);
  } catch (const std::runtime_error&) {
    return false;  // gone, or a link that leads out or nowhere
  }
}

UniqueFd ConfinedFolder::openFolderItself() const {
  UniqueFd folder(::open(folder_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder) fail(errno);
  return folder;
}

UniqueFd ConfinedFolder::open(const fs::path& relative, int flags) const {
  const UniqueFd folder = openFolderItself();
  if (resolution_ == Resolution::stepwise) return openStepwise(folder.get(), relative, flags);
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags | O_CLOEXEC);
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  UniqueFd file(retried(
      [&] { return static_cast<int>(::syscall(SYS_openat2, folder.get(), relative.c_str(), &how, sizeof how)); }));
  if (file) return file;
  if (errno == ENOSYS || errno == EPERM) return openStepwise(folder.get(), relative, flags);
  if (errno == EXDEV) throw ConfinementError();
  fail(errno);
}

UniqueFd ConfinedFolder::openStepwise(int folder, const fs::path& relative, int flags) const {
  UniqueFd above(::fcntl(folder, F_DUPFD_CLOEXEC, 0));
  for (auto part = relative.begin(); part != relative.end(); ++part) {
    UniqueFd found(::openat(above.get(), part->c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!found) fail(errno);
    if (S_ISLNK(statusOf(found.get()).st_mode)) throw ConfinementError();
    above = std::move(found);
  }
  UniqueFd file(::open(descriptorPath(above.get()).c_str(), flags | O_CLOEXEC));
  if (!file) fail(errno);
  return file;
}

/// Looked at before it is opened: to open a pipe or a device can do something.
UniqueFd ConfinedFolder::openRegularFile(const fs::path& relative) const {
  const UniqueFd found = open(relative, O_PATH);
  expectRegular(statusOf(found.get()));
  UniqueFd file(::open(descriptorPath(found.get()).c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) fail(errno);
  return file;
}

UniqueFd ConfinedFolder::makeFolders(const fs::path& relative) const {
  UniqueFd above = openFolderItself();
  fs::path reached;
  for (const fs::path& part : relative) {
    reached /= part;
    struct stat status;
    if (::fstatat(above.get(), part.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno != ENOENT) fail(errno);
      if (::mkdirat(above.get(), part.c_str(), 0777) != 0 && errno != EEXIST) fail(errno);
    }
    above = open(reached, O_PATH | O_DIRECTORY);
  }
  return above;
}

ConfinedFolder::Place ConfinedFolder::placeToWrite(fs::path relative) const {
  for (int links = 0; links < kMaxLinks; ++links) {
    Place place{.folder = makeFolders(relative.parent_path()), .name = relative.filename()};
    struct stat status;
    const bool isLink =
        ::fstatat(place.folder.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
    if (!isLink) return place;
    if (resolution_ == Resolution::stepwise) throw ConfinementError();
    // The target counts from where the folder really is, whatever links lead there.
    const fs::path from = fs::read_symlink(descriptorPath(place.folder.get()));
    relative = resolveConfined((from / linkTargetAt(place.folder.get(), place.name)).native());
  }
  fail(ELOOP);
}

}  // namespace ravant
