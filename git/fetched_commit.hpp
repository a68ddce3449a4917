#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace ravant {

/// The commit that the latest "git fetch" brought, beside a local branch.
struct FetchedCommit {
  std::string id;  ///< in hexadecimal digits
  /// How many commits the branch has on top of it; nothing where the branch does not have it.
  std::optional<std::int64_t> ahead = {};
};

/// `reference` is what was fetched, by its whole name. Throws `BranchInTheWayError` for a branch that cannot go on to
/// the commit: it has commits that would be lost, is checked out in another working copy, or cannot be made beside
/// another branch; and `std::runtime_error` where the repository cannot be read. Reads the repository.
FetchedCommit fetchedCommit(const std::filesystem::path& folder, const std::string& reference,
                            const std::string& branch);

}  // namespace ravant
