#include "app/prompt_submission.hpp"

#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>

#include "core/agent_runner_error.hpp"
#include "tests/support/run.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

awaitable<void> submitTwice(Application& application, PromptSubmission submission) {
  using asio::experimental::awaitable_operators::operator&&;
  const auto second = [&]() -> awaitable<void> {
    PromptSubmission other = submission;
    other.model = "another model";
    bool isRefused = false;
    try {
      co_await submitPrompt(application, other);
    } catch (const PromptRefusedError&) {
      isRefused = true;
    }
    EXPECT_TRUE(isRefused);
  };
  const PromptEndReason first = co_await (submitPrompt(application, submission) && second());
  EXPECT_EQ(first, PromptEndReason::failed);
}

awaitable<void> refuseTheSecondPrompt(Application& application, std::filesystem::path folder) {
  const Project project = co_await application.projects().create(folder, "project");
  const Agent agent = co_await application.agents().createAgent(AgentType::ravant, "", {});
  const auto conversation = co_await application.conversations().createConversation(project.id, agent.id);
  co_await submitTwice(
      application,
      {.prompt = "Hello", .project = project, .agent = agent, .model = "no such model", .conversation = *conversation});
  const auto kept = co_await application.conversations().conversation(*conversation);
  EXPECT_EQ(kept->conversation.lastUsedModel, "no such model");
  EXPECT_EQ(kept->items, 2) << "the first prompt and its failure";
  co_await application.shutdown();
}

awaitable<void> submitIntoNoFolder(Application& application, std::filesystem::path folder) {
  const Project project = co_await application.projects().create(folder, "project");
  const Agent agent = co_await application.agents().createAgent(AgentType::ravant, "", {});
  const auto conversation = co_await application.conversations().createConversation(project.id, agent.id);
  std::string refusal;
  try {
    co_await submitPrompt(
        application,
        {.prompt = "Hello", .project = project, .agent = agent, .model = "model", .conversation = *conversation});
  } catch (const PromptRefusedError& error) {
    refusal = error.what();
  }
  EXPECT_THAT(refusal, testing::AllOf(testing::HasSubstr("the project project"), testing::HasSubstr("is gone")));
  EXPECT_EQ((co_await application.conversations().conversation(*conversation))->items, 0);
  co_await application.shutdown();
}

TEST(PromptSubmission, storesNothingWhereTheProjectsFolderIsGone) {
  const TemporaryFolder folder;
  const auto application = Application::open(
      {.dataFolder = folder / "data", .settingsFile = folder.write("settings.json", R"({"keyStore":"file"})")});
  run(submitIntoNoFolder(*application, folder / "gone"));
}

TEST(PromptSubmission, isRefusedWhileAPromptRunsInThisProcess) {
  const TemporaryFolder folder;
  const auto application = Application::open(
      {.dataFolder = folder / "data", .settingsFile = folder.write("settings.json", R"({"keyStore":"file"})")});
  run(refuseTheSecondPrompt(*application, folder.path()));
}

}  // namespace
}  // namespace ravant::test
