#pragma once

#include <filesystem>
#include <string>

namespace ravant {

/// Why a text cannot be the name of a branch (git-check-ref-format(1)); empty where it can.
std::string objectionToBranchName(const std::string& name);

/// Why "git checkout" must not be given the name of a branch in a folder: it takes that of a file for the wish to have
/// back what is stored of it (git-checkout(1)). Empty where it may be given. Reads the repository.
std::string objectionToCheckout(const std::string& name, const std::filesystem::path& folder);

}  // namespace ravant
