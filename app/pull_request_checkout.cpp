#include "app/pull_request_checkout.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "app/repository_address.hpp"
#include "git/repository_top.hpp"

namespace ravant {
namespace {

constexpr std::size_t kMostNamed = 3;

/// Whether git would take what is there for the user's work.
bool isInTheWay(const GitFileEntry& entry) {
  return entry.staged || (entry.unstaged && entry.unstaged->status != GitFileStatus::untracked);
}

void expectClean(const GitReading<GitWorkingCopyDetails>& reading, const std::filesystem::path& folder) {
  if (reading.unsupportedReason) throw PullRequestCheckoutError(*reading.unsupportedReason);
  if (const std::string& operation = reading.value.head.operation; !operation.empty()) {
    throw PullRequestCheckoutError(
        fmt::format("a {} was begun in {} and not ended; end it first", operation, folder.string()));
  }
  std::vector<std::string> names;
  for (const GitFileEntry& entry : reading.value.entries()) {
    if (isInTheWay(entry)) names.push_back(entry.path);
  }
  if (names.empty()) return;
  const std::size_t count = names.size();
  names.resize(std::min(count, kMostNamed));
  throw PullRequestCheckoutError(
      fmt::format("there are changes in {} that are not committed ({}{}); commit or stash "
                  "them first",
                  folder.string(), fmt::join(names, ", "),
                  count > kMostNamed ? fmt::format(" and {} more", count - kMostNamed) : ""));
}

std::string remoteOf(const GitReading<std::vector<GitRemote>>& reading, const PullRequestCheckout& wanted) {
  if (reading.unsupportedReason) throw PullRequestCheckoutError(*reading.unsupportedReason);
  std::vector<std::string> others;
  for (const GitRemote& remote : reading.value) {
    for (const std::string& url : {remote.url, remote.rewrittenUrl}) {
      if (isAddressOf(url, wanted.host, wanted.repositoryName)) return remote.name;
    }
    others.push_back(remote.name);
  }
  throw PullRequestCheckoutError(
      fmt::format("no remote of the project {0} is {1} at {2} ({3}); add it with: git remote add NAME https://{2}/{1}",
                  wanted.project.name, wanted.repositoryName, wanted.host,
                  others.empty() ? "it has none" : fmt::format("it has {}", fmt::join(others, ", "))));
}

}  // namespace

awaitable<CheckedOutPullRequest> checkOutPullRequest(Application& application, PullRequestCheckout wanted) {
  const std::filesystem::path folder = repositoryTop(wanted.project.path).value_or(wanted.project.path);
  expectClean(co_await application.gitStatus().workingCopyFiles(folder), folder);
  CheckedOutPullRequest done{.top = folder,
                             .branch = fmt::format("pull/{}", wanted.number),
                             .remote = remoteOf(co_await application.gitStatus().remotes(folder), wanted)};
  try {
    CheckedOutBranch branch = co_await application.gitCommands().checkoutFetched(
        {.remote = done.remote, .reference = fmt::format("refs/pull/{}/head", wanted.number), .branch = done.branch},
        folder);
    done.ahead = branch.ahead;
    done.output = std::move(branch.output);
  } catch (const BranchInTheWayError& error) {
    throw PullRequestCheckoutError(error.what());
  }
  std::error_code unreadable;
  done.hasProjectFolder = std::filesystem::is_directory(wanted.project.path, unreadable);
  co_return done;
}

}  // namespace ravant
