// program_runs ROUNDS COMMAND... -- COMMAND...: the shortest run of each command in seconds and its largest memory in
// KiB. Output is discarded; a command that fails ends the measurement.

#include <string_view>

#include "bench/program.hpp"

int main(int count, char** arguments) {
  using namespace ravant::bench;
  std::vector<std::vector<std::string>> commands(1);
  for (int i = 2; i < count; ++i) {
    if (std::string_view(arguments[i]) == "--") {
      commands.emplace_back();
    } else {
      commands.back().emplace_back(arguments[i]);
    }
  }
  std::vector<long> memory(commands.size());
  std::vector<std::function<double()>> measurements;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    measurements.emplace_back([&, i] {
      const ProgramRun run = runProgram(commands[i]);
      memory[i] = std::max(memory[i], run.memory);
      return run.seconds;
    });
  }
  const std::vector<double> shortest = shortestOf(std::stoi(arguments[1]), measurements);
  for (std::size_t i = 0; i < commands.size(); ++i) fmt::print("{}\t{}\n", shortest[i], memory[i]);
}
