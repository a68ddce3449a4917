#include "cli/program.hpp"

int main(int count, char** words) {
  return ravant::cli::runProgram(std::vector<std::string>(words + 1, words + count));
}
