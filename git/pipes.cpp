#include "git/pipes.hpp"

#include <algorithm>
#include <fstream>
#include <string>

#include "platform/text/text.hpp"

namespace ravant::git {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<fs::path>;

bool isPipe(const fs::path& path) {
  std::error_code error;
  return fs::is_fifo(path, error);
}

bool isFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

/// What a file of git's names, such as `gitdir: ../elsewhere`, as seen from `base`; empty where there is none.
fs::path namedIn(const fs::path& file, std::string_view mark, const fs::path& base) {
  std::error_code error;
  if (!fs::is_regular_file(file, error)) return {};
  std::string text;
  std::getline(std::ifstream(file), text);
  const std::string_view line = trimmed(text);
  return line.starts_with(mark) ? base / trimmed(line.substr(mark.size())) : fs::path();
}

template <class Walk>
std::optional<fs::path> pipeAmong(const fs::path& folder) {
  std::error_code error;
  for (auto entry = Walk(folder, error); !error && entry != Walk(); entry.increment(error)) {
    std::error_code unknown;
    if (entry->is_fifo(unknown)) return entry->path();
  }
  return std::nullopt;
}

std::optional<fs::path> pipeInGitFolder(const fs::path& folder) {
  for (const char* part : {"", "info", "objects/info"}) {
    if (auto found = pipeAmong<fs::directory_iterator>(folder / part)) return found;
  }
  return pipeAmong<fs::recursive_directory_iterator>(folder / "refs");
}

/// The folders that git keeps the repository in whose working copy has its top at `top`; none where none has.
Paths gitFoldersAt(const fs::path& top) {
  fs::path folder = top / ".git";
  if (const fs::path elsewhere = namedIn(folder, "gitdir:", top); !elsewhere.empty()) folder = elsewhere;
  if (!isFolder(folder)) return isFolder(top / "objects") && isFolder(top / "refs") ? Paths{top} : Paths();
  const fs::path common = namedIn(folder / "commondir", "", folder);
  return common.empty() ? Paths{folder} : Paths{folder, common};
}

}  // namespace

std::optional<fs::path> pipeInTheWay(const fs::path& folder, const Paths& others) {
  Paths candidates = others;
  std::error_code error;
  for (fs::path above = fs::weakly_canonical(folder, error); !above.empty(); above = above.parent_path()) {
    for (const char* name : {".gitignore", ".gitattributes", ".gitmodules"}) candidates.push_back(above / name);
    const Paths gitFolders = gitFoldersAt(above);
    for (const fs::path& gitFolder : gitFolders) {
      if (auto found = pipeInGitFolder(gitFolder)) return found;
    }
    if (!gitFolders.empty() || above == above.root_path()) break;
  }
  const auto found = std::ranges::find_if(candidates, isPipe);
  return found != candidates.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace ravant::git
