#pragma once

#include <string_view>
#include <vector>

#include "core/turn_action.hpp"

namespace ravant {

/// One turn of an agent as a state machine without input or output: each line of the agent's
/// standard output becomes actions.
class AgentTurn {
 public:
  virtual ~AgentTurn() = default;

  /// `line` is valid UTF-8 without its line feed. What is no event of the agent asks for nothing.
  /// `Finish` or `Fail` comes once; what the agent still prints behind it belongs to the same turn.
  virtual std::vector<turn::Action> onLine(std::string_view line) = 0;

  /// The agent's command has ended: what was held back comes out.
  virtual std::vector<turn::Action> onCommandEnd() = 0;
};

}  // namespace ravant
