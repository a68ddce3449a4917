#pragma once

#include <string>
#include <variant>

#include "core/transcript_action.hpp"

namespace ravant::turn {

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

/// What a piece of an agent's output asks for.
using Action = std::variant<TranscriptAction, Grow, Finish, Fail>;

}  // namespace ravant::turn
