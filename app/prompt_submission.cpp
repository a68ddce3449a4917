#include "app/prompt_submission.hpp"

#include <fmt/format.h>

#include <boost/asio/this_coro.hpp>

#include "app/model_efforts.hpp"
#include "core/agent_command.hpp"
#include "core/agent_runner_error.hpp"
#include "platform/async/on_pool.hpp"
#include "platform/files/working_folder.hpp"
#include "platform/log/log.hpp"

namespace ravant {
namespace {

constexpr Log kLog("com.ravant.app", "PromptSubmission");
constexpr std::string_view kAlreadyRunning = "A prompt is already running in this conversation.";

}  // namespace

awaitable<void> expectIdle(Application& application, ConversationId conversation) {
  if (application.runners().activeConversations().contains(conversation) ||
      co_await application.conversations().isRunElsewhere(conversation)) {
    throw PromptRefusedError(std::string(kAlreadyRunning));
  }
}

awaitable<void> expectFolderOf(Application& application, Project project) {
  try {
    co_await onPool(application.modelContainer()->work(), [path = project.path] { expectFolder(path); });
  } catch (const WorkingFolderError& error) {
    throw PromptRefusedError(fmt::format("nothing can run in the project {}: {}", project.name, error.what()));
  }
}

void expectShortEnough(AgentType agent, std::string_view prompt) {
  const bool isArgument = agent == AgentType::claude || agent == AgentType::pi;
  const std::size_t limit = AgentCommand::largestPromptBytes();
  if (!isArgument || prompt.size() <= limit) return;
  throw PromptRefusedError(
      fmt::format("the prompt has {} bytes, and {} can be given {} at most; attach what is long as a "
                  "file",
                  prompt.size(), displayName(agent), limit));
}

awaitable<PromptEndReason> submitPrompt(Application& application, PromptSubmission submission) {
  const auto claim = application.runners().claim(submission.conversation);
  if (!claim) throw PromptRefusedError(std::string(kAlreadyRunning));
  co_await expectFolderOf(application, submission.project);
  co_await expectIdle(application, submission.conversation);
  if (submission.effort) {
    co_await expectEffort(application.agents(), submission.agent, submission.model, *submission.effort);
  }
  asio::co_spawn(co_await asio::this_coro::executor, application.runners().followRemovals(),
                 [](std::exception_ptr error) {
                   if (error) kLog.error("removed conversations are not noticed any more");
                 });
  co_await application.keepSearchCurrent();
  AgentRunRequest request{.prompt = std::move(submission.prompt),
                          .model = std::move(submission.model),
                          .effort = std::move(submission.effort),
                          .conversationId = submission.conversation,
                          .workingDirectory = submission.project.path,
                          .resumedSessionId = std::move(submission.resumedSessionId),
                          .binaryPath = submission.agent.path,
                          .arguments = submission.agent.arguments,
                          .queued = std::move(submission.queued)};
  co_return co_await application.runners().send(std::move(request), std::move(submission.agent));
}

}  // namespace ravant
