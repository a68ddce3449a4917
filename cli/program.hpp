#pragma once

#include <string>
#include <vector>

namespace ravant::cli {

/// Runs the program with the words behind its name and returns its exit status.
int runProgram(const std::vector<std::string>& words);

}  // namespace ravant::cli
