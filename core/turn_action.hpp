#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>

#include "core/growth.hpp"
#include "core/transcript_action.hpp"

namespace ravant {

/// Why a turn failed: something went wrong, or a limit (tokens, steps, length) cut it off.
enum class FailureCause { error, limit };

namespace turn {

/// The message that the agent is writing has grown; it is stored when it is whole.
struct Grow {
  std::string text;
  bool isNewMessage = false;  ///< these are its first words
  GrowthKind kind = GrowthKind::message;
  bool operator==(const Grow&) const = default;
};
/// The agent's model could not be asked and will be asked again.
struct Retry {
  std::string reason;                                   ///< in the agent's or the provider's words
  std::optional<std::chrono::milliseconds> after = {};  ///< from now on, where it is known
  bool operator==(const Retry&) const = default;
};
/// The agent's turn is over.
struct Finish {
  bool operator==(const Finish&) const = default;
};
/// The agent's turn is over and failed; the text is the agent's own.
struct Fail {
  std::string text;
  FailureCause cause = FailureCause::error;
  bool operator==(const Fail&) const = default;
};

/// What a piece of an agent's output asks for.
using Action = std::variant<TranscriptAction, Grow, Retry, Finish, Fail>;

}  // namespace turn
}  // namespace ravant
