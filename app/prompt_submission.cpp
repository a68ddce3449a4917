#include "app/prompt_submission.hpp"

namespace ravant {

awaitable<PromptEndReason> submitPrompt(Application& application, PromptSubmission submission) {
  co_await application.conversations().updateLastPromptSettings(submission.conversation, submission.model,
                                                                submission.effort);
  AgentRunRequest request{.prompt = std::move(submission.prompt),
                          .model = std::move(submission.model),
                          .effort = std::move(submission.effort),
                          .conversationId = submission.conversation,
                          .workingDirectory = submission.project.path,
                          .resumedSessionId = std::move(submission.resumedSessionId),
                          .binaryPath = submission.agent.path,
                          .arguments = submission.agent.arguments};
  co_return co_await application.runners().send(std::move(request), std::move(submission.agent));
}

}  // namespace ravant
