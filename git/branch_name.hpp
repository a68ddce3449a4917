#pragma once

#include <string>

namespace ravant {

/// Why a text cannot be the name of a branch (git-check-ref-format(1)); empty where it can.
std::string objectionToBranchName(const std::string& name);

}  // namespace ravant
