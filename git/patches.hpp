#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "git/git_status.hpp"
#include "git/libgit2_handles.hpp"

namespace ravant::git {

/// Where the new side of a difference lies.
enum class NewSide { index, workingCopy };

/// What became of one file.
struct FilePatch {
  /// What the lines lie in, where the library does not keep it.
  std::array<Object, 2> blobs = {};
  std::unique_ptr<const std::string> content;
  Patch lines;  ///< null where there are none to tell
  bool isBinary = false;
  GitHunksExtent extent = GitHunksExtent::whole;
};

/// What becomes of a patch that would take much memory, some hundred bytes for each line of both versions. `bounded`:
/// no versions of more than `kMostComparedLines` are compared; where there is only one, its first lines are the patch.
enum class PatchSize { any, bounded };

/// The change of that number, the same as libgit2 makes of it. Files of the working copy are read and filtered here:
/// libgit2 1.5 crashes where a filter bears on an empty one. Throws `LibraryError` where a side cannot be read.
FilePatch makePatch(git_repository* repository, git_diff* diff, std::size_t number, NewSide newSide,
                    std::uint32_t contextLines, PatchSize size = PatchSize::any);

struct LineCounts {
  bool isBinary = false;
  std::int64_t insertions = 0;
  std::int64_t deletions = 0;
};

/// How many lines it is. Throws `LibraryError`.
LineCounts countLines(git_repository* repository, git_diff* diff, std::size_t number, NewSide newSide);

/// Whether nothing is said of how the lines of a file are told (gitattributes(5)).
bool isPlain(git_repository* repository, const char* path);

/// By how many lines a plain file of the working copy differs from a blob; by none where it is no file. Other than what
/// looks at differences and attributes, this reads no index. Throws `LibraryError`.
LineCounts countLinesOfPlain(git_repository* repository, const std::string& path, const git_oid& before);

}  // namespace ravant::git
