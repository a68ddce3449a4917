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

  /// Of a command that has ended without `Finish` or `Fail` and complained in `standardError`: whether it did so
  /// because the agent does not know the session it was to resume. The prompt is given once more then, without it.
  virtual bool isSessionUnknown(std::string_view /*standardError*/) const { return false; }

  /// What a user can do about such a complaint; empty where there is nothing to say.
  virtual std::string_view advice(std::string_view /*standardError*/) const { return {}; }
};

}  // namespace ravant
