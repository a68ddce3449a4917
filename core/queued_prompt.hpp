#pragma once

#include <optional>
#include <string>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// What is to be sent, and with what; the conversation's own choice where it is absent.
struct QueuedText {
  std::string prompt;
  std::optional<std::string> model = {};  ///< slug
  std::optional<std::string> effort = {};

  bool operator==(const QueuedText&) const = default;
};

/// A prompt that waits in a conversation for the one before it to finish.
struct QueuedPrompt {
  QueuedPromptId id;
  ConversationId conversation;
  QueuedText text;
  Timestamp createdAt;

  bool operator==(const QueuedPrompt&) const = default;
};

}  // namespace ravant
