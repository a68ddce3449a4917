#include "runners/claude/claude_turn.hpp"

#include <algorithm>
#include <iterator>

#include "tests/fuzz/turn_invariants.hpp"

namespace ravant::fuzz {
namespace {

std::vector<turn::Action> play(const std::vector<std::string>& lines) {
  ClaudeTurn turn(std::nullopt, std::nullopt);
  std::vector<turn::Action> actions;
  for (const std::string& line : lines) std::ranges::move(turn.onLine(line), std::back_inserter(actions));
  std::ranges::move(turn.onCommandEnd(), std::back_inserter(actions));
  return actions;
}

}  // namespace
}  // namespace ravant::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ravant::fuzz::expectLawfulTurn(ravant::fuzz::play, ravant::fuzz::text(bytes, size));
  return 0;
}
