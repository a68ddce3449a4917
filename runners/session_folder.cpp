#include "runners/session_folder.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>
#include <utility>

namespace ravant {
namespace {

class Walk {
 public:
  explicit Walk(std::vector<SkippedSession>& skipped) : skipped_(skipped) {}

  void look(const std::filesystem::path& folder, int depth) {
    std::error_code error;
    std::vector<std::filesystem::path> entries;
    for (std::filesystem::directory_iterator entry(folder, error); !error && entry != std::filesystem::end(entry);
         entry.increment(error)) {
      entries.push_back(entry->path());
    }
    if (error && error != std::errc::no_such_file_or_directory) skipped_.push_back({folder, error.message()});
    std::ranges::sort(entries);
    for (const std::filesystem::path& entry : entries) lookAt(entry, depth);
  }

  std::vector<std::filesystem::path> files;

 private:
  void lookAt(const std::filesystem::path& entry, int depth) {
    const bool isSessionFile = depth == 0 && entry.extension() == ".jsonl";
    if (depth == 0 && !isSessionFile) return;
    struct stat status{};
    if (::stat(entry.c_str(), &status) != 0) {
      skipped_.push_back({entry, std::generic_category().message(errno)});
      return;
    }
    const bool isFolder = S_ISDIR(status.st_mode);
    if (isSessionFile && !S_ISREG(status.st_mode)) {
      skipped_.push_back({entry, isFolder ? "it is a folder, no file" : "it is a pipe or a device, no file"});
      return;
    }
    if (!(isSessionFile || isFolder) || !seen_.emplace(status.st_dev, status.st_ino).second) return;
    if (isSessionFile) {
      files.push_back(entry);
    } else {
      look(entry, depth - 1);
    }
  }

  std::vector<SkippedSession>& skipped_;
  std::set<std::pair<dev_t, ino_t>> seen_;
};

}  // namespace

std::vector<std::filesystem::path> sessionFilesIn(const std::filesystem::path& folder, int depth,
                                                  std::vector<SkippedSession>& skipped) {
  Walk walk(skipped);
  walk.look(folder, depth);
  return std::move(walk.files);
}

}  // namespace ravant
