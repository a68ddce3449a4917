#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/transcript_action.hpp"

namespace ravant {

namespace turn {

/// The message that the agent is writing has grown; it is stored when it is whole.
struct Grow {
  std::string text;
  bool isNewMessage = false;  ///< these are its first words
  bool operator==(const Grow&) const = default;
};
/// The agent's turn is over.
struct Finish {
  bool operator==(const Finish&) const = default;
};
/// The agent's turn is over and failed; the text is the agent's own.
struct Fail {
  std::string text;
  bool operator==(const Fail&) const = default;
};

/// What a line of an agent's output asks for.
using Action = std::variant<TranscriptAction, Grow, Finish, Fail>;

}  // namespace turn

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
