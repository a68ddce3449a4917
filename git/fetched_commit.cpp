#include "git/fetched_commit.hpp"

#include <fmt/format.h>

#include <array>
#include <optional>
#include <string_view>

#include "git/commit_distances.hpp"
#include "git/git_command_runner.hpp"
#include "git/opened_repository.hpp"

namespace ravant {
namespace {

std::optional<git_oid> inFetchHead(git_repository* repository, const std::string& reference) {
  struct Search {
    std::string_view name;
    std::optional<git_oid> found;
  };
  Search search{.name = reference, .found = std::nullopt};
  const auto visit = [](const char* name, const char*, const git_oid* id, unsigned, void* payload) {
    auto& wanted = *static_cast<Search*>(payload);
    if (name != nullptr && wanted.name == name) wanted.found = *id;
    return 0;
  };
  git::check(git::git_repository_fetchhead_foreach(repository, visit, &search));
  return search.found;
}

git::CommitDistance distance(git_repository* repository, const git_oid& local, const git_oid& fetched) {
  const auto counted = git::commitDistances(repository, {{.local = local, .upstream = fetched}}).front();
  if (!counted) throw counted.error();
  return *counted;
}

/// A branch beside which git cannot make this one, because the name of the one is a folder for the other.
std::optional<std::string> branchBeside(git_repository* repository, const std::string& branch) {
  for (std::size_t slash = branch.find('/'); slash != std::string::npos; slash = branch.find('/', slash + 1)) {
    std::string above = branch.substr(0, slash);
    const auto found = git::ownIfAny<git::Reference>([&](git_reference** reference) {
      return git::git_branch_lookup(reference, repository, above.c_str(), GIT_BRANCH_LOCAL);
    });
    if (found) return above;
  }
  const std::string below = fmt::format("{}{}/*", git::kLocalBranches, branch);
  const auto references = git::own<git::ReferenceIterator>([&](git_reference_iterator** made) {
    return git::git_reference_iterator_glob_new(made, repository, below.c_str());
  });
  const char* name = nullptr;
  if (git::git_reference_next_name(&name, references.get()) != 0) return std::nullopt;
  return std::string(name).substr(git::kLocalBranches.size());
}

std::string text(const git_oid& id) {
  std::array<char, GIT_OID_HEXSZ + 1> digits{};
  return git::git_oid_tostr(digits.data(), digits.size(), &id);
}

}  // namespace

FetchedCommit fetchedCommit(const std::filesystem::path& folder, const std::string& reference,
                            const std::string& branch) {
  const git::OpenedRepository repository(folder);
  const auto fetched = inFetchHead(repository.get(), reference);
  if (!fetched) throw std::runtime_error(fmt::format("another fetch came between before {} was read", reference));
  FetchedCommit commit{.id = text(*fetched)};
  const auto local = git::ownIfAny<git::Reference>([&](git_reference** found) {
    return git::git_branch_lookup(found, repository.get(), branch.c_str(), GIT_BRANCH_LOCAL);
  });
  if (!local) {
    if (const auto other = branchBeside(repository.get(), branch)) {
      throw BranchInTheWayError(fmt::format(
          "git can make no branch {0} beside the local branch {1}: rename that with git branch -m {1} NEW-NAME", branch,
          *other));
    }
    return commit;
  }
  const auto tip = git::own<git::Object>(
      [&](git_object** found) { return git::git_reference_peel(found, local.get(), GIT_OBJECT_COMMIT); });
  const auto [ahead, behind] = distance(repository.get(), *git::git_object_id(tip.get()), *fetched);
  if (behind == 0) commit.ahead = ahead;
  if (commit.ahead) return commit;
  if (ahead > 0) {
    throw BranchInTheWayError(fmt::format(
        "the local branch {0} has commits that would be lost: rename it with git branch -m {0} NEW-NAME, or "
        "delete it with git branch -D {0}",
        branch));
  }
  const git::Reference head = git::headOf(repository.get());
  const bool isCurrent = head && git::git_reference_cmp(head.get(), local.get()) == 0;
  if (!isCurrent && git::git_branch_is_checked_out(local.get()) == 1) {
    throw BranchInTheWayError(fmt::format("the local branch {} is checked out in another working copy", branch));
  }
  return commit;
}

}  // namespace ravant
