#include "app/prompt_submission.hpp"

#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>

#include "core/agent_runner_error.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

TEST(PromptSubmission, isRefusedWhileAPromptRunsInThisProcess) {
  const TemporaryFolder folder;
  const auto application = Application::open(
      {.dataFolder = folder / "data", .settingsFile = folder.write("settings.json", R"({"keyStore":"file"})")});
  asio::io_context loop;
  const Project project = run(application->projects().create(folder.path(), "project"), loop);
  const Agent agent = run(application->agents().createAgent(AgentType::ravant, "", {}), loop);
  const ConversationId conversation =
      run(application->conversations().createConversation(project.id, agent.id), loop).value();
  PromptSubmission submission{.prompt = "first", .project = project, .agent = agent};
  submission.model = "no such model";
  submission.conversation = conversation;

  std::optional<PromptEndReason> first;
  asio::co_spawn(loop, submitPrompt(*application, submission),
                 [&](std::exception_ptr, PromptEndReason reason) { first = reason; });
  loop.restart();
  while (application->runners().activeConversations().empty() && loop.run_one() > 0) {
  }
  submission.prompt = "second";
  submission.model = "another model";
  EXPECT_THROW(run(submitPrompt(*application, submission), loop), PromptRefusedError);
  loop.restart();
  while (!first && loop.run_one() > 0) {
  }

  EXPECT_EQ(first, PromptEndReason::failed);
  const auto kept = run(application->conversations().conversation(conversation), loop);
  EXPECT_EQ(kept.value().conversation.lastUsedModel, "no such model");
  EXPECT_EQ(kept.value().items, 2) << "the first prompt and its failure";
  run(application->shutdown(), loop);
}

}  // namespace
}  // namespace ravant::test
