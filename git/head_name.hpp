#pragma once

#include <filesystem>
#include <string>

#include "git/git_status.hpp"

namespace ravant {

/// What a working copy has checked out, as far as its file HEAD tells.
struct GitHeadName {
  std::string name;            ///< of the branch, also of one without a commit; the beginning of the commit's id
  bool isBranch = true;        ///< or a commit by itself
  std::filesystem::path file;  ///< HEAD; git replaces it when something else is checked out

  bool operator==(const GitHeadName&) const = default;
};

/// Reads that file and nothing else of the repository, without libgit2. `folder` is absolute. Blocks, for far less than
/// a millisecond on a local disk.
GitReading<GitHeadName> readHeadName(const std::filesystem::path& folder);

}  // namespace ravant
