#include "core/agent_runner_store.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>

#include "core/agent_runner_error.hpp"
#include "platform/async/signal.hpp"
#include "platform/files/private_file.hpp"
#include "platform/log/log.hpp"
#include "platform/notifications/notification_center.hpp"
#include "tests/support/store.hpp"
#include "tests/support/transcript_text.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A runner of one loop whose prompts end when the test says so.
class FakeRunner final : public AgentRunner {
 public:
  explicit FakeRunner(any_io_executor loop) : changed_(std::move(loop)) {}

  awaitable<void> send(AgentRunRequest request) override {
    ++sent;
    if (request.queued) throw QueuedPromptNotSentError("sent meanwhile");
    const bool isRefused = !running.insert(request.conversationId).second;
    if (isRefused) throw AgentRunnerError(AgentRunnerError::Case::busy);
    while (running.contains(request.conversationId)) co_await changed_.wait();
    if (failure) throw AgentReportedError(*failure);
  }
  awaitable<void> cancel(ConversationId conversationId) override {
    ++cancelled;
    failure = "broken pipe";  // what a runner may meet while it is stopped
    end(conversationId);
    co_return;
  }
  awaitable<void> release(ConversationId conversationId) override {
    released.push_back(conversationId);
    co_return;
  }
  awaitable<void> shutdown() override {
    isShutDown = true;
    running.clear();
    changed_.notify();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    if (partner) partner->changed_.notify();
    while (partner && !partner->isShutDown && std::chrono::steady_clock::now() < deadline) {
      co_await changed_.wait(deadline);
    }
    endedWithPartner = partner && partner->isShutDown;
  }
  void end(ConversationId conversationId) {
    running.erase(conversationId);
    changed_.notify();
  }

  std::set<ConversationId> running;
  std::optional<std::string> failure;
  int sent = 0;
  int cancelled = 0;
  std::vector<ConversationId> released;
  bool isShutDown = false;
  FakeRunner* partner = nullptr;  ///< whose shutdown has to begin before this one's ends
  bool endedWithPartner = false;

 private:
  Signal changed_;
};

class FakeFactory final : public RunnerFactory {
 public:
  explicit FakeFactory(any_io_executor loop) : loop_(std::move(loop)) {}
  std::shared_ptr<AgentRunner> makeRunner(AgentType /*type*/, std::shared_ptr<ModelContainer>) override {
    return made.emplace_back(std::make_shared<FakeRunner>(loop_));
  }
  std::vector<std::shared_ptr<FakeRunner>> made;

 private:
  any_io_executor loop_;
};

class Dispatch : public testing::Test {
 protected:
  ~Dispatch() override {
    loop.restart();
    loop.poll();
  }

  void send(ConversationId id, AgentType type = AgentType::claude, std::optional<QueuedPrompt> queued = {}) {
    Agent agent;
    agent.type = type;
    asio::co_spawn(loop,
                   dispatcher.send({.prompt = "p",
                                    .model = "m",
                                    .effort = {},
                                    .conversationId = id,
                                    .workingDirectory = "/",
                                    .resumedSessionId = {},
                                    .binaryPath = "",
                                    .queued = std::move(queued)},
                                   agent),
                   [this](std::exception_ptr error, PromptEndReason reason) {
                     if (!error) reasons.push_back(reason);
                   });
    pollUntilIdle();
  }
  /// Lets everything happen that needs nothing from outside.
  void pollUntilIdle() {
    loop.restart();
    loop.poll();
  }
  void runUntilReasons(std::size_t count) {
    loop.restart();
    while (reasons.size() < count && loop.run_one() > 0) {
    }
  }
  std::vector<std::string> announced() {
    std::vector<std::string> ends;
    const auto batch = run(observer->next(), loop);
    for (const Notification& notification : batch.value()) {
      ends.push_back(notification.object + " " + notification.userInfo.at("ravant_prompt_end_reason"));
    }
    return ends;
  }

  asio::io_context loop;
  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId first = store.makeConversation();
  ConversationId second = store.makeConversation(AgentType::claude, "/other");
  std::shared_ptr<FakeFactory> factory = std::make_shared<FakeFactory>(loop.get_executor());
  std::shared_ptr<NotificationCenter> notifications = std::make_shared<NotificationCenter>();
  std::shared_ptr<NotificationObserver> observer =
      notifications->observe("ravant_shell_prompt_finished", loop.get_executor());
  AgentRunnerStore dispatcher{store.container, factory, notifications};
  std::vector<PromptEndReason> reasons;
};

TEST_F(Dispatch, aQueuedPromptThatIsNotSentLeavesNothing) {
  const auto sendQueued = [&]() -> awaitable<void> {
    AgentRunRequest request{
        .prompt = "p",
        .conversationId = first,
        .queued = QueuedPrompt{.id = QueuedPromptId(1), .conversation = first, .text = {}, .createdAt = {}}};
    co_await dispatcher.send(std::move(request), Agent{.type = AgentType::claude});
  };
  EXPECT_THROW(run(sendQueued(), loop), QueuedPromptNotSentError);
  EXPECT_THAT(store.transcript(first), IsEmpty());
  EXPECT_THAT(dispatcher.activeConversations(), IsEmpty());
  send(second);
  factory->made.back()->end(second);
  runUntilReasons(1);
  EXPECT_THAT(announced(), ElementsAre(second.text() + " finished")) << "and nothing of the first";
}

TEST_F(Dispatch, announcesEachEndWithItsConversation) {
  send(first);
  send(second);
  EXPECT_THAT(dispatcher.activeConversations(), testing::UnorderedElementsAre(first, second));
  ASSERT_EQ(factory->made.size(), 2U);
  factory->made[1]->end(second);
  runUntilReasons(1);
  EXPECT_THAT(dispatcher.activeConversations(), ElementsAre(first));
  factory->made[0]->end(first);
  runUntilReasons(2);
  EXPECT_THAT(announced(), ElementsAre(second.text() + " finished", first.text() + " finished"));
}

TEST_F(Dispatch, logsWhatItSends) {
  openLogFile(folder / "logs");
  send(first, AgentType::codex);
  openLogFile("/dev/null");
  EXPECT_THAT(readFile(folder / "logs/ravant.log").value(),
              HasSubstr("] AgentRunnerStore.send agent=codex conv=" + first.text() + "\n"));
}

TEST_F(Dispatch, recordsAFailureOnce) {
  send(first);
  factory->made[0]->failure = "no such model";
  factory->made[0]->end(first);
  runUntilReasons(1);
  EXPECT_THAT(reasons, ElementsAre(PromptEndReason::failed));
  EXPECT_THAT(announced(), ElementsAre(first.text() + " failed"));
  EXPECT_THAT(transcriptText(store, first), HasSubstr("failureEvent \"The agent run failed: no such model\""));
}

TEST_F(Dispatch, announcesACancelledPromptOnceAndRecordsNoFailure) {
  send(first);
  run(dispatcher.cancelRunner(first), loop);
  runUntilReasons(1);
  EXPECT_THAT(reasons, ElementsAre(PromptEndReason::cancelled));
  EXPECT_THAT(announced(), ElementsAre(first.text() + " cancelled"));
  EXPECT_THAT(dispatcher.activeConversations(), IsEmpty());
  EXPECT_THAT(store.transcript(first), IsEmpty());
}

TEST_F(Dispatch, tracksAPromptThatFollowsACancelledOneAtOnce) {
  send(first);
  asio::co_spawn(loop, dispatcher.cancelRunner(first), asio::detached);
  pollUntilIdle();
  factory->made[0]->failure.reset();
  send(first);
  EXPECT_THAT(dispatcher.activeConversations(), ElementsAre(first));
  factory->made[0]->end(first);
  runUntilReasons(2);
  EXPECT_THAT(reasons, ElementsAre(PromptEndReason::cancelled, PromptEndReason::finished));
  EXPECT_THAT(announced(), ElementsAre(first.text() + " cancelled", first.text() + " finished"));
}

TEST_F(Dispatch, cancelsWithoutARunnerToo) {
  run(dispatcher.cancelRunner(second), loop);
  EXPECT_THAT(announced(), ElementsAre(second.text() + " cancelled"));
  EXPECT_THAT(factory->made, IsEmpty());
}

TEST_F(Dispatch, aRefusedPromptLeavesTheRunningOneAlone) {
  send(first);
  send(first);
  runUntilReasons(1);
  EXPECT_THAT(reasons, ElementsAre(PromptEndReason::failed));
  EXPECT_THAT(transcriptText(store, first), HasSubstr("failureEvent \"The agent run failed: busy\""));
  EXPECT_THAT(dispatcher.activeConversations(), ElementsAre(first));
  factory->made[0]->end(first);
  runUntilReasons(2);
  EXPECT_THAT(announced(), ElementsAre(first.text() + " finished"));
}

TEST_F(Dispatch, endsItsRunnersSideBySide) {
  send(first);
  send(second);
  ASSERT_EQ(factory->made.size(), 2U);
  factory->made[0]->partner = factory->made[1].get();
  factory->made[1]->partner = factory->made[0].get();
  run(dispatcher.shutdown(), loop);
  for (const auto& made : factory->made) EXPECT_TRUE(made->endedWithPartner);
  EXPECT_THAT(reasons, ElementsAre(PromptEndReason::cancelled, PromptEndReason::cancelled));
  EXPECT_THAT(announced(), testing::UnorderedElementsAre(first.text() + " cancelled", second.text() + " cancelled"));
}

TEST_F(Dispatch, keepsTheShellsThatWereUsedLast) {
  const auto finishPrompt = [this](ConversationId id, std::size_t runner) {
    const std::size_t count = reasons.size() + 1;
    send(id);
    factory->made.at(runner)->end(id);
    runUntilReasons(count);
    pollUntilIdle();
  };
  std::vector<ConversationId> conversations;
  for (std::size_t i = 0; i <= kMostIdleShells; ++i) {
    conversations.push_back(store.makeConversation(AgentType::claude, fmt::format("/project {}", i)));
  }
  for (std::size_t i = 0; i < kMostIdleShells; ++i) finishPrompt(conversations[i], i);
  finishPrompt(conversations[0], 0);
  for (const auto& runner : factory->made) EXPECT_THAT(runner->released, IsEmpty());
  finishPrompt(conversations[kMostIdleShells], kMostIdleShells);
  for (std::size_t i = 0; i <= kMostIdleShells; ++i)
    EXPECT_EQ(factory->made[i]->released.size(), i == 1 ? 1U : 0U) << i;
}

TEST_F(Dispatch, keepsTheAgentsOfConversationsThatWereUsedLast) {
  std::vector<ConversationId> conversations;
  for (std::size_t i = 0; i <= kMostIdleShells; ++i) {
    conversations.push_back(store.makeConversation(AgentType::cursor, fmt::format("/project {}", i)));
  }
  for (const ConversationId id : conversations) {
    send(id, AgentType::cursor);
    ASSERT_EQ(factory->made.size(), 1U);
    EXPECT_THAT(factory->made[0]->released, IsEmpty());
    if (id == conversations.back()) {
      run(dispatcher.cancelRunner(id), loop);
    } else {
      factory->made[0]->end(id);
    }
    pollUntilIdle();
  }
  EXPECT_THAT(factory->made[0]->released, ElementsAre(conversations.front())) << "one that was cancelled is kept too";
}

TEST_F(Dispatch, aSharedRunnerLetsGoOfRemovedConversations) {
  asio::co_spawn(loop, dispatcher.followRemovals(), asio::detached);
  for (const ConversationId id : {first, second}) {
    send(id, AgentType::ravant);
    factory->made.at(0)->end(id);
    pollUntilIdle();
  }
  run(OpenStore(folder.path()).conversations->deleteConversation(first));
  loop.restart();
  while (factory->made[0]->released.empty() && loop.run_one() > 0) {
  }
  EXPECT_THAT(factory->made[0]->released, ElementsAre(first));
  run(store.container->changeFeed()->stop(), loop);
}

TEST_F(Dispatch, endsWhatRemovedConversationsAndProjectsHaveLeft) {
  const ConversationId kept = store.makeConversation(AgentType::claude, "/kept");
  asio::co_spawn(loop, dispatcher.followRemovals(), asio::detached);
  const std::vector<ConversationId> conversations = {first, second, kept};
  for (std::size_t i = 0; i < conversations.size(); ++i) {
    send(conversations[i]);
    factory->made.at(i)->end(conversations[i]);
    runUntilReasons(i + 1);
  }
  OpenStore another(folder.path());
  run(another.conversations->deleteConversation(first));
  run(another.projects->remove(store.conversation(second).project));
  loop.restart();
  while (factory->made[0]->cancelled + factory->made[1]->cancelled < 2 && loop.run_one() > 0) {
  }
  EXPECT_EQ(factory->made[0]->cancelled, 1);
  EXPECT_EQ(factory->made[1]->cancelled, 1);
  EXPECT_EQ(factory->made[2]->cancelled, 0);
  run(store.container->changeFeed()->stop(), loop);
}

TEST_F(Dispatch, keepsARunnerForEachShellConversationAndOneForEachOtherType) {
  Agent agent;
  const auto runner = [&](ConversationId id, AgentType type) {
    agent.type = type;
    return dispatcher.runner(id, agent);
  };
  EXPECT_EQ(runner(first, AgentType::claude), runner(first, AgentType::claude));
  EXPECT_NE(runner(first, AgentType::claude), runner(second, AgentType::pi));
  EXPECT_EQ(runner(first, AgentType::codex), runner(second, AgentType::codex));
  EXPECT_NE(runner(first, AgentType::codex), runner(first, AgentType::cursor));
  EXPECT_EQ(factory->made.size(), 4U);

  send(first);
  run(dispatcher.shutdown(), loop);
  EXPECT_THAT(reasons, ElementsAre(PromptEndReason::cancelled));
  for (const auto& made : factory->made) EXPECT_TRUE(made->isShutDown);
  const std::size_t made = factory->made.size();
  send(second, AgentType::pi,
       QueuedPrompt{.id = QueuedPromptId(1), .conversation = second, .text = {}, .createdAt = {}});
  EXPECT_EQ(factory->made.size(), made) << "what waits can wait for the next start";
  EXPECT_THAT(dispatcher.activeConversations(), IsEmpty());
}

}  // namespace
}  // namespace ravant::test
