#include "app/prompt_queue.hpp"

#include <gmock/gmock.h>

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <fstream>

#include "app/prompt_submission.hpp"
#include "core/agent_runner_error.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Ends its turn as a success, or as a failure where the project has a file `broken`; removes it where it has a file
/// `leaving`.
constexpr std::string_view kAgent = R"sh(#!/bin/sh
[ -e leaving ] && rm -r "$PWD"
[ -e broken ] && kind='"subtype":"error_during_execution","is_error":true' || kind='"subtype":"success","is_error":false'
echo "{\"type\":\"result\",$kind,\"result\":\"Done.\",\"session_id\":\"5f2c7f1e-8a35-4d0e-9b5c-2f6f6f3f7a10\"}"
)sh";

class Queue : public testing::Test {
 protected:
  void SetUp() override {
    ::setenv("HOME", folder.path().c_str(), 1);
    std::filesystem::permissions(folder.write("agent", kAgent), std::filesystem::perms::owner_all);
    std::filesystem::create_directory(folder / "project");
    application = Application::open(
        {.dataFolder = folder / "data", .settingsFile = folder.write("settings.json", R"({"keyStore":"file"})")});
    queue = std::make_unique<PromptQueue>(*application);
  }
  void TearDown() override {
    queue.reset();
    application.reset();
    home ? ::setenv("HOME", home->c_str(), 1) : ::unsetenv("HOME");
  }

  awaitable<void> prepare() {
    project = co_await application->projects().create(folder / "project", "project");
    agent = co_await application->agents().createAgent(AgentType::claude, folder / "agent", {});
    conversation = (co_await application->conversations().createConversation(project.id, agent.id)).value();
  }
  /// Runs `test` while the queue is followed, as if two programs did.
  void whileFollowed(std::function<awaitable<void>()> test) {
    using asio::experimental::awaitable_operators::operator&&;
    const auto both = [&]() -> awaitable<void> {
      co_await prepare();
      const auto tested = [&]() -> awaitable<void> {
        std::exception_ptr error;
        try {
          co_await test();
        } catch (...) {
          error = std::current_exception();
        }
        co_await application->shutdown();
        if (error) std::rethrow_exception(error);
      };
      PromptQueue other(*application);
      co_await (queue->follow() && other.follow() && tested());
    };
    run(both());
  }
  awaitable<void> add(std::string prompt, std::optional<std::string> effort = {}) {
    co_await queue->prompts().add(conversation, {.prompt = std::move(prompt), .model = "sonnet", .effort = effort});
  }
  awaitable<PromptEndReason> send(std::string prompt) {
    PromptSubmission submission{.prompt = std::move(prompt),
                                .project = project,
                                .agent = agent,
                                .model = "sonnet",
                                .conversation = conversation};
    co_return co_await submitPrompt(*application, std::move(submission));
  }
  /// The prompts of the transcript, each with how it ended, and the failures.
  awaitable<std::vector<std::string>> told() {
    std::vector<std::string> lines;
    for (const ConversationItem& item : co_await application->transcripts().items(conversation, std::nullopt)) {
      if (const auto* prompt = std::get_if<UserMessage>(&item.detail)) {
        lines.push_back(item.text + " " + std::string(prompt->endReason ? rawValue(*prompt->endReason) : "runs"));
      } else if (kindOf(item) == ConversationItemKind::failureEvent) {
        lines.push_back(item.text);
      }
    }
    co_return lines;
  }
  /// Returns when the conversation's last line begins so.
  awaitable<void> until(std::string line) {
    auto changes = co_await application->modelContainer()->changeFeed()->subscribe(co_await asio::this_coro::executor);
    for (;;) {
      const auto lines = co_await told();
      if (!lines.empty() && lines.back().starts_with(line)) co_return;
      if (!co_await changes->next()) co_return;
    }
  }
  /// Returns when each of the two that follow has given up and nothing is under way any more.
  awaitable<void> untilTriesAreOver() {
    asio::steady_timer pause(co_await asio::this_coro::executor);
    for (std::size_t before = 0, tries = 0; tries < 2 || tries != before || isSending();) {
      before = tries;
      pause.expires_after(std::chrono::milliseconds(300));
      co_await pause.async_wait(use_awaitable);
      co_await settle();
      tries = failedTries();
    }
  }
  bool isSending() const { return application->runners().activeConversations().contains(conversation); }
  /// Those of which not even the failure could be stored.
  std::size_t failedTries() const {
    std::ifstream log(folder / "data/logs/ravant.log");
    std::size_t tries = 0;
    for (std::string line; std::getline(log, line);) tries += line.ends_with("is not in the transcript") ? 1 : 0;
    return tries;
  }
  /// Lets the queue take in what was announced.
  awaitable<void> settle() {
    for (int turn = 0; turn < 20; ++turn) {
      co_await application->modelContainer()->changeFeed()->flush();
      co_await queue->prompts().next(conversation);
      co_await told();
    }
  }

  std::optional<std::string> home = ::getenv("HOME") ? std::optional<std::string>(::getenv("HOME")) : std::nullopt;
  TemporaryFolder folder;
  std::unique_ptr<Application> application;
  std::unique_ptr<PromptQueue> queue;
  Project project;
  Agent agent;
  ConversationId conversation;
};

TEST_F(Queue, goesOnBehindWhatFinishedAndWaitsBehindWhatFailed) {
  whileFollowed([&]() -> awaitable<void> {
    co_await add("two");
    co_await add("three");
    co_await settle();
    EXPECT_THAT(co_await told(), IsEmpty()) << "nothing has finished yet";
    EXPECT_EQ(co_await send("one"), PromptEndReason::finished);
    co_await until("three finished");
    EXPECT_THAT(co_await told(), ElementsAre("one finished", "two finished", "three finished"));

    folder.write("project/broken", "");
    co_await add("four");  // behind what has finished: sent at once, and fails
    co_await until("The agent run failed: Done.");
    std::filesystem::remove(folder / "project/broken");
    co_await add("five");
    co_await settle();
    EXPECT_EQ((co_await queue->prompts().prompts(conversation)).size(), 1U);
    EXPECT_EQ(co_await queue->sendNext(conversation), PromptEndReason::finished);
    EXPECT_EQ(co_await queue->sendNext(conversation), std::nullopt);
    EXPECT_EQ((co_await told()).back(), "five finished");
  });
}

TEST_F(Queue, goesOnBehindAPromptOfAnotherProcess) {
  whileFollowed([&]() -> awaitable<void> {
    OpenStore other(folder / "data");
    other.clock->advance(-std::chrono::hours(24 * 365 * 10));  // clocks can be set back
    co_await other.items->beginRun(conversation);
    co_await other.items->appendUserPrompt(conversation, "theirs", AgentType::claude);
    co_await add("ours");
    EXPECT_EQ(co_await queue->sendNext(conversation), std::nullopt) << "another one runs";
    co_await other.items->endRun(conversation, "", PromptOutcome::finished);
    co_await until("ours finished");
    EXPECT_THAT(co_await told(), ElementsAre("theirs finished", "ours finished"));
  });
}

TEST_F(Queue, saysInTheTranscriptWhatCannotBeSent) {
  whileFollowed([&]() -> awaitable<void> {
    co_await add("too hard", "impossible");
    co_await send("one");
    co_await until("A queued prompt");
    co_await settle();
    const auto lines = co_await told();
    EXPECT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines.back(), testing::StartsWith("A queued prompt was not sent: the model sonnet has no effort"));
    EXPECT_EQ((co_await queue->prompts().prompts(conversation)).size(), 1U) << "it waits to be edited";
    co_await application->agents().setEnabled(agent.id, false);
    bool isRefused = false;
    try {
      co_await queue->sendNext(conversation);
    } catch (const PromptRefusedError& error) {
      isRefused = std::string_view(error.what()) == "the agent of the conversation is disabled";
    }
    EXPECT_TRUE(isRefused);
  });
}

TEST_F(Queue, triesOnceWhereNothingCanBeWritten) {
  whileFollowed([&]() -> awaitable<void> {
    co_await send("one");
    sqlite::Database store = application->modelContainer()->connect();
    store.execute("CREATE TRIGGER full BEFORE INSERT ON conversation_item BEGIN SELECT RAISE(ABORT, 'no room'); END");
    const auto tries = application->notifications().observe(std::string(kActiveConversationsChanged),
                                                            co_await asio::this_coro::executor);
    co_await add("two");
    co_await untilTriesAreOver();
    store.execute("DROP TRIGGER full");
    const auto tried = co_await tries->next();
    EXPECT_LE(tried->size(), 8U) << "each of the two that follow begins and ends its try";
    EXPECT_THAT(co_await told(), ElementsAre("one finished"));
    co_await add("three");
    co_await until("three finished");
    EXPECT_THAT(co_await told(), ElementsAre("one finished", "two finished", "three finished"));
  });
}

TEST_F(Queue, saysInTheTranscriptThatTheFolderIsGone) {
  whileFollowed([&]() -> awaitable<void> {
    folder.write("project/leaving", "");
    co_await add("two");
    co_await send("one");
    co_await until("A queued prompt was not sent: nothing can run in the project project");
    EXPECT_EQ((co_await told()).size(), 2U);
  });
}

}  // namespace
}  // namespace ravant::test
