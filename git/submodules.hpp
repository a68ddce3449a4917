#pragma once

#include <optional>
#include <string>
#include <vector>

#include "git/fresh_index.hpp"

namespace ravant::git {

class OpenedRepository;

/// A submodule of the index, as it is in the working copy.
struct Submodule {
  enum class State { missing, notCheckedOut, checkedOut };

  std::string path;
  git_oid expected;  ///< the commit that the index names
  State state = State::notCheckedOut;
  git_oid commit{};  ///< that is checked out
  bool hasChanges = false;
  std::optional<std::string> objection = {};  ///< why nothing more is known

  /// Whether it is not as the index has it.
  bool differs() const {
    return objection || hasChanges || (state == State::checkedOut && git_oid_equal(&commit, &expected) == 0);
  }
};

/// Those below `repository`'s folder. What counts as a change is what their setting `ignore` says (gitmodules(5)), or
/// diff.ignoreSubmodules. libgit2's own comparison leaks 20 KB for each (1.5, whose regular expressions keep their
/// matches). Throws `LibraryError`.
std::vector<Submodule> submodulesOf(const OpenedRepository& repository, const FreshIndex& index);

}  // namespace ravant::git
