#include "runners/claude/claude_code_shell_runner.hpp"

#include "runners/claude/claude_turn.hpp"

namespace ravant {

std::unique_ptr<AgentTurn> ClaudeCodeShellRunner::makeTurn(std::optional<std::string> resumedSessionId,
                                                           std::optional<std::int64_t> contextWindow) {
  return std::make_unique<ClaudeTurn>(std::move(resumedSessionId), contextWindow);
}

}  // namespace ravant
