#pragma once

#include <optional>
#include <string>
#include <string_view>

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
  std::optional<QueuedPrompt> queued = {};  ///< where the prompt waited in the conversation's queue
};

/// Throws `PromptRefusedError` while a prompt runs in the conversation, in this process or another.
awaitable<void> expectIdle(Application& application, ConversationId conversation);

/// Throws `PromptRefusedError` where no program can be started in the project's folder: it is gone, for instance. Looks
/// on a pool.
awaitable<void> expectFolderOf(Application& application, Project project);

/// Throws `PromptRefusedError` where the agent is given its prompt as an argument of its program, and this one is
/// longer than the system passes. Some login shells pass less: the agent's runner says so.
void expectShortEnough(AgentType agent, std::string_view prompt);

/// Hands the prompt to the agent's runner, which remembers model and effort with it, and returns why it ended. Throws
/// `StoreError` where the transcript cannot be written, and, with nothing stored, `EffortError` and what `expectIdle`
/// and `expectFolderOf` throw; where the prompt was queued also `QueuedPromptNotSentError`.
awaitable<PromptEndReason> submitPrompt(Application& application, PromptSubmission submission);

}  // namespace ravant
