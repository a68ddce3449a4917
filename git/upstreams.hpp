#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "git/libgit2_handles.hpp"

namespace ravant::git {

struct Upstream {
  std::string name;  ///< as "origin/main"
  git_oid commit;
};

/// The upstreams of a repository's branches, as its configuration is now: what a branch is pulled from
/// (git-config(1), branch.*.remote, branch.*.merge and remote.*.fetch). The library's own search leaks 20 KB each time
/// (libgit2 1.5, whose regular expressions keep their matches).
class Upstreams {
 public:
  /// The repository outlives it.
  explicit Upstreams(git_repository* repository);

  /// Null where there is none, or where it has not been fetched.
  const Upstream* of(const git_reference* branch);

 private:
  /// All values of a key, in the order in which they stand.
  const std::vector<std::string>& valuesOf(const std::string& key) const;
  const std::vector<Refspec>& refspecsOf(const std::string& remote);
  std::string trackingName(const std::string& remote, const std::string& merge);
  const Upstream* lookUp(const std::string& tracking);

  git_repository* repository_;
  std::map<std::string, std::vector<std::string>> values_;  ///< of the configuration's branches and remotes, by key
  std::map<std::string, std::vector<Refspec>> refspecs_;
  std::map<std::string, std::optional<Upstream>> found_;  ///< by their references' whole names
};

}  // namespace ravant::git
