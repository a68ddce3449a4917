#include "runners/pi/pi_shell_runner.hpp"

#include "runners/pi/pi_turn.hpp"

namespace ravant {

std::unique_ptr<AgentTurn> PiShellRunner::makeTurn(std::optional<std::string> resumedSessionId,
                                                   std::optional<std::int64_t> /*contextWindow*/) {
  return std::make_unique<PiTurn>(std::move(resumedSessionId));
}

}  // namespace ravant
