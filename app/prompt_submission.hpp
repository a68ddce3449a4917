#pragma once

#include <optional>
#include <string>

#include "app/application.hpp"

namespace ravant {

/// A prompt as a face submits it, with what the user chose.
struct PromptSubmission {
  std::string prompt;
  Project project;
  Agent agent;
  std::string model;  ///< slug
  std::optional<std::string> effort;
  ConversationId conversation;
  std::optional<std::string> resumedSessionId;
};

/// Throws `PromptRefusedError` while a prompt runs in the conversation, in this process or another.
awaitable<void> expectIdle(Application& application, ConversationId conversation);

/// Remembers model and effort on the conversation, hands the prompt to the agent's runner and returns
/// why it ended. Throws `StoreError` where the transcript cannot be written, and, with nothing stored, `EffortError` and
/// what `expectIdle` throws.
awaitable<PromptEndReason> submitPrompt(Application& application, PromptSubmission submission);

}  // namespace ravant
