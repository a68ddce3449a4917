#include "git/branch_name.hpp"

#include <fmt/format.h>
#include <algorithm>

#include "git/libgit2_handles.hpp"

namespace ravant {

std::string objectionToBranchName(const std::string& name) {
  if (name.empty()) return "a branch's name cannot be empty";
  if (name.starts_with('-')) return fmt::format("\"{}\" cannot be a branch: it begins with \"-\"", name);
  const bool hasControl = std::ranges::any_of(name, [](unsigned char c) { return c < ' ' || c == '\x7f'; });
  if (hasControl) return "a branch's name cannot have control characters";
  git::initializeLibgit2();
  int isValid = 0;
  const bool isKnown = git_branch_name_is_valid(&isValid, name.c_str()) == 0;
  return isKnown && isValid == 1 ? "" : fmt::format("\"{}\" cannot be the name of a branch", name);
}

}  // namespace ravant
