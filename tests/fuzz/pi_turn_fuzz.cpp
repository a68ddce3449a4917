#include "runners/pi/pi_turn.hpp"

#include "tests/fuzz/turn_invariants.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace ravant;
  const auto play = [](const std::vector<std::string>& lines) {
    PiTurn turn(std::nullopt);
    return fuzz::playCommand(turn, lines);
  };
  fuzz::expectLawfulTurn(play, fuzz::text(bytes, size));
  return 0;
}
