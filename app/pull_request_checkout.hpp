#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "app/application.hpp"

namespace ravant {

/// Why a pull request is not put into a project's folder; `what()` says what is in the way.
class PullRequestCheckoutError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct PullRequestCheckout {
  Project project;
  std::string host;            ///< as `GithubIntegration` has it
  std::string repositoryName;  ///< `owner/name`
  std::int64_t number;
};

/// What became of the folder.
struct CheckedOutPullRequest {
  std::filesystem::path top;     ///< of the repository, all of which was checked out
  std::string branch;            ///< the local one, `pull/NUMBER`
  std::string remote;            ///< from which the commits came
  std::int64_t ahead = 0;        ///< commits that the branch has on top of the pull request
  bool hasProjectFolder = true;  ///< false where the project's folder went with the checkout
  std::string output;            ///< what git printed
};

/// Fetches a pull request's commits from the remote of the project that is its repository, and checks them out as the
/// local branch `pull/NUMBER`. A branch of that name that is there goes on to them where that loses no commit, and is
/// checked out as it is where it has them all.
///
/// Throws `PullRequestCheckoutError`, with the folder as it was, where something in the repository is not committed
/// (files that git was not told of do not count), a merge or the like is under way, no remote is that repository, or a
/// branch is in the way; and `GitCommandError` and `std::system_error` as `GitCommandRunner` does.
awaitable<CheckedOutPullRequest> checkOutPullRequest(Application& application, PullRequestCheckout checkout);

}  // namespace ravant
