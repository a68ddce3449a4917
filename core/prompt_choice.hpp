#pragma once

#include <optional>
#include <string>

#include "core/queued_prompt.hpp"

namespace ravant {

/// What a prompt is sent with, and where it comes from.
struct PromptChoice {
  std::optional<std::string> model = {};  ///< slug; kept on the conversation, with the effort, where it is given
  std::optional<std::string> effort = {};
  std::optional<QueuedPrompt> queued = {};  ///< where it waited in the conversation's queue, as it was read there
};

}  // namespace ravant
