#pragma once

#include <map>
#include <string>
#include <vector>

#include "git/libgit2_handles.hpp"

namespace ravant::git {

/// The upstreams of a repository's branches, as its configuration is now: what a branch is pulled from
/// (git-config(1), branch.*.remote, branch.*.merge and remote.*.fetch). The library's own search leaks 20 KB each time
/// (libgit2 1.5, whose regular expressions keep their matches).
class Upstreams {
 public:
  /// The repository outlives it.
  explicit Upstreams(git_repository* repository);

  /// Null where there is none, or where it has not been fetched.
  Reference of(const git_reference* branch);

 private:
  std::string text(const std::string& key) const;
  const std::vector<Refspec>& refspecsOf(const std::string& remote);
  std::string trackingName(const std::string& remote, const std::string& merge);

  git_repository* repository_;
  Config config_;
  std::map<std::string, std::vector<Refspec>> refspecs_;
};

}  // namespace ravant::git
