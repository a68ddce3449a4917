#include "tests/agents/cassette.hpp"

#include <array>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace ravant::test {
namespace {

constexpr std::string_view kTurn = "== turn";
constexpr std::string_view kRule = "on ";
constexpr std::array<std::string_view, 5> kFaultKinds = {"none", "stop", "kill", "noise", "leave"};

}  // namespace

std::vector<CassetteTurn> readCassette(const std::filesystem::path& file) {
  std::ifstream input(file);
  std::vector<CassetteTurn> turns;
  for (std::string line; std::getline(input, line);) {
    if (line.starts_with(kTurn)) {
      turns.push_back({.prompt = line.substr(std::min(line.size(), kTurn.size() + 1)), .lines = {}});
    } else if (!line.empty() && !line.starts_with('#')) {
      if (turns.empty() && line.starts_with(kRule)) continue;
      if (turns.empty()) throw std::runtime_error(file.string() + " does not begin with a turn");
      turns.back().lines.push_back(line);
    }
  }
  if (turns.empty()) throw std::runtime_error(file.string() + " is no cassette");
  return turns;
}

std::map<std::string, std::string> readCassetteRules(const std::filesystem::path& file) {
  std::ifstream input(file);
  std::map<std::string, std::string> rules;
  for (std::string line; std::getline(input, line) && !line.starts_with(kTurn);) {
    if (!line.starts_with(kRule)) continue;
    line.erase(0, kRule.size());
    const std::size_t blank = line.find(' ');
    rules.emplace(line.substr(0, blank), line.substr(blank + 1));
  }
  return rules;
}

std::string CassetteFault::text() const {
  return std::string(kFaultKinds.at(static_cast<std::size_t>(kind))) + " " + std::to_string(line);
}

CassetteFault CassetteFault::fromText(const std::string& text) {
  std::istringstream words(text);
  std::string name;
  CassetteFault fault;
  words >> name >> fault.line;
  for (std::size_t i = 0; i < kFaultKinds.size(); ++i) {
    if (kFaultKinds.at(i) == name) fault.kind = static_cast<Kind>(i);
  }
  return fault;
}

}  // namespace ravant::test
