#include "git/libgit2_handles.hpp"

#include <array>

#include "platform/log/log.hpp"

namespace ravant::git {
namespace {

constexpr Log kLog("com.ravant.git", "GitStatusReader");

}  // namespace

void initializeLibgit2() {
  static const bool isReady = [] {
    check(git_libgit2_init());
    // Some of them ask nothing of a reader, and OpenedRepository looks after the others. A foreign owner matters to who
    // runs what a repository names, which a reader does not; and the hashes of objects are the business of who writes
    // them.
    std::array<const char*, 7> extensions = {"worktreeconfig",   "preciousobjects",    "partialclone",
                                             "objectformat",     "compatobjectformat", "refstorage",
                                             "relativeworktrees"};
    check(git_libgit2_opts(GIT_OPT_SET_EXTENSIONS, extensions.data(), extensions.size()));
    check(git_libgit2_opts(GIT_OPT_SET_OWNER_VALIDATION, 0));
    check(git_libgit2_opts(GIT_OPT_ENABLE_STRICT_HASH_VERIFICATION, 0));
    kLog.debug("libgit2 initialized");
    return true;
  }();
  static_cast<void>(isReady);
}

}  // namespace ravant::git
