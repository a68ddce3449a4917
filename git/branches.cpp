#include "git/branches.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "git/commit_distances.hpp"
#include "git/unsupported_repository.hpp"
#include "git/upstreams.hpp"
#include "platform/text/utf8.hpp"

namespace ravant::git {
namespace {

constexpr std::size_t kShownDigits = 7;  // of a commit's id

std::string operationIn(git_repository* repository) {
  switch (git_repository_state(repository)) {
    case GIT_REPOSITORY_STATE_MERGE:
      return "merge";
    case GIT_REPOSITORY_STATE_REVERT:
    case GIT_REPOSITORY_STATE_REVERT_SEQUENCE:
      return "revert";
    case GIT_REPOSITORY_STATE_CHERRYPICK:
    case GIT_REPOSITORY_STATE_CHERRYPICK_SEQUENCE:
      return "cherry-pick";
    case GIT_REPOSITORY_STATE_BISECT:
      return "bisect";
    case GIT_REPOSITORY_STATE_REBASE:
    case GIT_REPOSITORY_STATE_REBASE_INTERACTIVE:
    case GIT_REPOSITORY_STATE_REBASE_MERGE:
    case GIT_REPOSITORY_STATE_APPLY_MAILBOX_OR_REBASE:
      return "rebase";
    case GIT_REPOSITORY_STATE_APPLY_MAILBOX:
      return "am";
    default:
      return {};
  }
}

/// The branch on which the first commit will be.
std::string unbornBranch(git_repository* repository) {
  const auto head =
      ownIfAny<Reference>([&](git_reference** found) { return git_reference_lookup(found, repository, "HEAD"); });
  const char* target = head ? git_reference_symbolic_target(head.get()) : nullptr;
  std::string_view name = target != nullptr ? target : "";
  if (name.starts_with(kLocalBranches)) name.remove_prefix(kLocalBranches.size());
  return repairUtf8(std::string(name));
}

/// Without its distance.
GitBranch describe(const char* name, git_object* tip, const Upstream* upstream) {
  GitBranch branch{.name = repairUtf8(name),
                   .isCurrent = false,
                   .upstream = std::nullopt,
                   .ahead = 0,
                   .behind = 0,
                   .lastCommitSummary = {},
                   .lastCommitDate = std::nullopt};
  if (upstream != nullptr) branch.upstream = repairUtf8(upstream->name);
  if (tip == nullptr) return branch;
  auto* const commit = reinterpret_cast<git_commit*>(tip);
  const char* summary = git_commit_summary(commit);
  branch.lastCommitSummary = repairUtf8(summary != nullptr ? summary : "");
  branch.lastCommitDate = Timestamp(std::chrono::seconds(git_commit_time(commit)));
  return branch;
}

/// Calls `visit` with each local branch and its name; one without a name is skipped.
template <class Visit>
void forEachLocalBranch(git_repository* repository, Visit visit) {
  const BranchIterator iterator = own<BranchIterator>(
      [&](git_branch_iterator** made) { return git_branch_iterator_new(made, repository, GIT_BRANCH_LOCAL); });
  for (;;) {
    git_reference* found = nullptr;
    git_branch_t type{};
    const int code = git_branch_next(&found, &type, iterator.get());
    const Reference reference(found);
    if (code == GIT_ITEROVER) return;
    check(code);
    const char* name = nullptr;
    if (git_branch_name(&name, found) == 0) visit(found, name);
  }
}

}  // namespace

GitHead readHead(git_repository* repository) {
  GitHead read{.operation = operationIn(repository)};
  const Reference head = headOf(repository);
  const char* name = head ? git_reference_shorthand(head.get()) : nullptr;
  if (name != nullptr) read.branch = read.name = repairUtf8(name);
  if (git_repository_head_unborn(repository) == 1) {
    read.state = GitHeadState::unborn;
    read.name = unbornBranch(repository);
  } else if (git_repository_head_detached(repository) == 1) {
    read.state = GitHeadState::detached;
    const git_oid* commit = head ? git_reference_target(head.get()) : nullptr;
    std::array<char, kShownDigits + 1> digits{};
    if (commit != nullptr) read.name = git_oid_tostr(digits.data(), digits.size(), commit);
  }
  return read;
}

std::pair<std::int64_t, std::int64_t> readAheadBehind(git_repository* repository) {
  const Reference head = headOf(repository);
  const Object tip = tipOf(head.get());
  if (!tip) return {0, 0};
  Upstreams upstreams(repository);
  const Upstream* upstream = upstreams.of(head.get());
  if (upstream == nullptr) return {0, 0};
  const auto distance =
      commitDistances(repository, {{.local = *git_object_id(tip.get()), .upstream = upstream->commit}}).front();
  if (!distance) throw distance.error();
  return {distance->ahead, distance->behind};
}

GitReading<std::vector<GitBranch>> readBranches(git_repository* repository) {
  GitReading<std::vector<GitBranch>> reading;
  std::vector<GitBranch>& branches = reading.value;
  std::vector<CommitPair> pairs;
  std::vector<std::size_t> ofPairs;  // the branch of each
  const Reference head = headOf(repository);
  Upstreams upstreams(repository);
  forEachLocalBranch(repository, [&](git_reference* reference, const char* name) {
    const Object tip = tipOf(reference);
    if (!tip && git_reference_type(reference) == GIT_REFERENCE_SYMBOLIC) return;  // as git leaves it out
    const Upstream* upstream = upstreams.of(reference);
    if (tip && upstream != nullptr) {
      pairs.push_back({.local = *git_object_id(tip.get()), .upstream = upstream->commit});
      ofPairs.push_back(branches.size());
    }
    branches.push_back(describe(name, tip.get(), upstream));
    branches.back().isCurrent =
        head && std::string_view(git_reference_name(reference)) == git_reference_name(head.get());
  });
  const auto distances = commitDistances(repository, pairs);
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    if (distances[i]) {
      branches[ofPairs[i]].ahead = distances[i]->ahead;
      branches[ofPairs[i]].behind = distances[i]->behind;
    } else if (!reading.unsupportedReason) {
      reading.unsupportedReason = reasonFor(distances[i].error().what(), branches[ofPairs[i]].name);
    }
  }
  std::ranges::sort(branches, {}, &GitBranch::name);
  return reading;
}

}  // namespace ravant::git
