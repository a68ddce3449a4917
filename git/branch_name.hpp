#pragma once

#include <filesystem>
#include <string>

namespace ravant {

/// Why a text cannot be the name of a branch (git-check-ref-format(1)); empty where it can.
std::string objectionToBranchName(const std::string& name);

/// Why "git checkout" must not be given it in a folder: besides, it takes the name of a file for the wish to throw away
/// what was changed there (git-checkout(1)). Empty where it may be given.
std::string objectionToCheckout(const std::string& name, const std::filesystem::path& folder);

}  // namespace ravant
