#include "git/branch_name.hpp"

#include <fmt/format.h>

#include <algorithm>

#include "git/fresh_index.hpp"
#include "git/opened_repository.hpp"

namespace ravant {

std::string objectionToBranchName(const std::string& name) {
  if (name.empty()) return "a branch's name cannot be empty";
  if (name == "@") return "\"@\" is git's word for what is checked out, and no branch";
  if (name.starts_with('-')) return fmt::format("\"{}\" cannot be a branch: it begins with \"-\"", name);
  const bool hasControl = std::ranges::any_of(name, [](unsigned char c) { return c < ' ' || c == '\x7f'; });
  if (hasControl) return "a branch's name cannot have control characters";
  git::initializeLibgit2();
  int isValid = 0;
  const bool isKnown = git::git_branch_name_is_valid(&isValid, name.c_str()) == 0;
  return isKnown && isValid == 1 ? "" : fmt::format("\"{}\" cannot be the name of a branch", name);
}

std::string objectionToCheckout(const std::string& name, const std::filesystem::path& folder) {
  const std::string isNoBranch =
      fmt::format("\"{}\" is no local branch but a file or folder, whose changes git would throw away", name);
  std::error_code error;
  const bool isThere = std::filesystem::exists(std::filesystem::symlink_status(folder / name, error));
  try {
    const git::OpenedRepository repository(folder);
    const auto branch = git::ownIfAny<git::Reference>([&](git_reference** found) {
      return git::git_branch_lookup(found, repository.get(), name.c_str(), GIT_BRANCH_LOCAL);
    });
    if (branch) return {};
    const git::FreshIndex index(repository.get());
    const std::string path = repository.prefix() + name;
    return isThere || index.has(path) || index.hasBelow(path + "/") ? isNoBranch : "";
  } catch (const std::runtime_error& unreadable) {
    if (!isThere) return {};
    return fmt::format("whether \"{}\" is a branch or the file of that name cannot be told: {}", name,
                       unreadable.what());
  }
}

}  // namespace ravant
