#include <gmock/gmock.h>
#include <signal.h>

#include <array>
#include <random>
#include <set>

#include "core/agent_runner_error.hpp"
#include "core/store/draft_store.hpp"
#include "core/store/queued_prompt_store.hpp"
#include "core/store/transcript_writer.hpp"
#include "platform/process/unique_fd.hpp"
#include "tests/support/forked.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using testing::ElementsAre;

std::vector<std::string> promptsIn(OpenStore& store, ConversationId conversation) {
  std::vector<std::string> texts;
  for (const ConversationItem& item : store.transcript(conversation)) texts.push_back(item.text);
  return texts;
}

class WaitingText : public testing::Test {
 protected:
  std::vector<std::string> waiting() {
    std::vector<std::string> texts;
    for (const QueuedPrompt& prompt : run(queue->prompts(conversation))) texts.push_back(prompt.text.prompt);
    return texts;
  }
  QueuedPromptId add(const std::string& prompt) { return run(queue->add(conversation, {.prompt = prompt})).value(); }
  QueuedPrompt asRead(QueuedPromptId id, QueuedText text) {
    return {.id = id, .conversation = conversation, .text = std::move(text), .createdAt = kMorning};
  }
  void send(const QueuedPrompt& queued) {
    PromptChoice choice{.model = queued.text.model.value_or("sonnet"), .effort = queued.text.effort, .queued = queued};
    run(store.items->appendUserPrompt(conversation, queued.text.prompt, AgentType::claude, choice));
  }
  /// What `act` announces.
  std::vector<Change> changesBy(const std::function<void()>& act) {
    const auto subscription = run(store.container->changeFeed()->subscribe(loop.get_executor()), loop);
    act();
    run(store.container->changeFeed()->flush());
    subscription->end();
    const auto batch = run(subscription->next(), loop);
    return batch ? batch->changes : std::vector<Change>();
  }

  asio::io_context loop;
  TemporaryFolder folder;
  OpenStore store{folder.path()};
  ConversationId conversation = store.makeConversation();
  std::shared_ptr<QueuedPromptStore> queue = QueuedPromptStore::make(store.container);
  std::shared_ptr<DraftStore> drafts = DraftStore::make(store.container);
};

TEST_F(WaitingText, aQueueKeepsItsOrderThroughEveryChange) {
  const QueuedPromptId a = add("a");
  const QueuedPromptId b = add("b");
  const QueuedPromptId c = add("c");
  run(queue->reorder(conversation, {c}));
  EXPECT_THAT(waiting(), ElementsAre("c", "a", "b"));
  EXPECT_TRUE(run(queue->edit(a, {.prompt = "A", .model = "opus", .effort = "high"})));
  EXPECT_EQ(run(queue->remove(c))->text.prompt, "c");
  EXPECT_EQ(run(queue->remove(c)), std::nullopt);
  EXPECT_FALSE(run(queue->edit(c, {.prompt = "late"})));
  add("d");
  EXPECT_THAT(waiting(), ElementsAre("A", "b", "d"));
  EXPECT_EQ(run(queue->next(conversation))->text, (QueuedText{.prompt = "A", .model = "opus", .effort = "high"}));
  EXPECT_THAT(run(queue->conversations()), ElementsAre(conversation));
  EXPECT_EQ(run(queue->next(store.makeConversation(AgentType::pi, "/other"))), std::nullopt);
  EXPECT_EQ(run(queue->remove(b))->id, b);
}

TEST_F(WaitingText, aQueuedPromptIsAppendedOnceAndAsItWasRead) {
  const QueuedPromptId id = add("first");
  const QueuedPrompt read = run(queue->next(conversation)).value();
  const ConversationId other = store.makeConversation(AgentType::pi, "/other");
  EXPECT_THROW(run(store.items->appendUserPrompt(other, "first", AgentType::pi, {.queued = read})),
               QueuedPromptNotSentError);
  for (const QueuedText& text : {QueuedText{.prompt = "edited"}, QueuedText{.prompt = "first", .model = "haiku"},
                                 QueuedText{.prompt = "first", .effort = "low"}}) {
    run(queue->edit(id, text));
    EXPECT_THROW(send(read), QueuedPromptNotSentError) << text.prompt;
  }
  EXPECT_THAT(promptsIn(store, conversation), testing::IsEmpty());
  EXPECT_EQ(store.conversation(conversation).lastUsedModel, std::nullopt) << "nothing is left of what was not sent";
  const QueuedPrompt edited = run(queue->next(conversation)).value();
  send(edited);
  EXPECT_THROW(send(edited), QueuedPromptNotSentError);
  EXPECT_THAT(promptsIn(store, conversation), ElementsAre("first"));
  EXPECT_EQ(store.conversation(conversation).lastUsedModel, "sonnet");
  EXPECT_EQ(store.conversation(conversation).lastUsedEffortRawValue, "low");
  EXPECT_THAT(waiting(), testing::IsEmpty());
}

TEST_F(WaitingText, aRunElsewhereLeavesTheQueueAndTheMarkAlone) {
  const QueuedPrompt read = asRead(add("first"), {.prompt = "first"});
  OpenStore other(folder.path());
  run(other.items->beginRun(conversation));
  bool hasRun = false;
  TranscriptWriter writer(store.container, conversation);
  const auto turn = [&]() -> awaitable<void> {
    hasRun = true;
    co_return;
  };
  const auto record = [&] {
    run(writer.record("first", AgentType::claude, [] { return false; }, turn, {.queued = read}));
  };
  EXPECT_THROW(record(), QueuedPromptNotSentError);
  run(other.items->endRun(conversation, ""));
  send(read);
  EXPECT_THROW(record(), QueuedPromptNotSentError) << "the other one has sent it meanwhile";
  EXPECT_FALSE(hasRun);
  EXPECT_EQ(run(store.conversations->conversation(conversation))->run, std::nullopt);
  EXPECT_THAT(promptsIn(store, conversation), ElementsAre("first"));
}

TEST_F(WaitingText, aDraftIsItsLatestTextUntilItIsEmpty) {
  const ProjectId project = store.conversation(conversation).project;
  for (const std::string text : {"f", "fi", "fix it"}) {
    run(drafts->keep(conversation, text));
    run(drafts->keep(project, text + " in a new one"));
  }
  OpenStore other(folder.path());
  const auto elsewhere = DraftStore::make(other.container);
  EXPECT_EQ(run(elsewhere->draft(conversation)), "fix it");
  EXPECT_EQ(run(elsewhere->draft(project)), "fix it in a new one");
  EXPECT_TRUE(run(store.conversations->conversation(conversation))->hasDraft);
  run(elsewhere->keep(conversation, ""));
  EXPECT_EQ(run(drafts->draft(conversation)), std::nullopt);
  EXPECT_EQ(run(drafts->draft(project)), "fix it in a new one");
  EXPECT_FALSE(run(store.conversations->conversation(conversation))->hasDraft);

  EXPECT_FALSE(run(drafts->replace(project, "fix it", ""))) << "something else was typed there meanwhile";
  EXPECT_FALSE(run(drafts->replace(conversation, "gone", "late")));
  EXPECT_EQ(run(drafts->draft(project)), "fix it in a new one");
  EXPECT_TRUE(run(drafts->replace(conversation, "", "first")));
  EXPECT_TRUE(run(drafts->replace(project, "fix it in a new one", "")));
  EXPECT_EQ(run(drafts->draft(conversation)), "first");
  EXPECT_EQ(run(drafts->draft(project)), std::nullopt);
}

TEST_F(WaitingText, goesWithItsConversationAndProject) {
  const ProjectId project = store.conversation(conversation).project;
  add("waits");
  run(drafts->keep(conversation, "typed"));
  run(drafts->keep(project, "typed"));
  run(store.conversations->deleteConversation(conversation));
  EXPECT_THAT(run(queue->conversations()), testing::IsEmpty());
  run(store.projects->remove(project));
  run(drafts->keep(conversation, "late"));
  run(drafts->keep(project, "late"));
  EXPECT_EQ(run(queue->add(conversation, {.prompt = "late"})), std::nullopt);
  auto database = store.container->connect();
  EXPECT_FALSE(database.prepare("SELECT 1 FROM draft UNION ALL SELECT 1 FROM queued_prompt").query().step());
}

TEST_F(WaitingText, isAnnounced) {
  const ProjectId project = store.conversation(conversation).project;
  using enum ChangeOperation;
  const auto ofConversation = ElementsAre(Change{conversation, updated, std::nullopt});
  EXPECT_THAT(changesBy([&] { run(drafts->keep(conversation, "typed")); }), ofConversation);
  EXPECT_THAT(changesBy([&] { run(drafts->keep(conversation, "typed")); }), testing::IsEmpty());
  EXPECT_THAT(changesBy([&] { run(drafts->keep(conversation, "")); }), ofConversation);
  EXPECT_THAT(changesBy([&] { run(drafts->keep(project, "typed")); }),
              ElementsAre(Change{project, updated, std::nullopt}));

  QueuedPromptId id;
  EXPECT_THAT(changesBy([&] { id = add("first"); }), testing::SizeIs(1));
  EXPECT_THAT(changesBy([&] { run(queue->edit(id, {.prompt = "edited"})); }),
              ElementsAre(Change{id, updated, conversation}));
  EXPECT_THAT(changesBy([&] { send(asRead(id, {.prompt = "edited"})); }),
              testing::Contains(Change{id, removed, conversation}));
}

TEST(KilledSender, losesNoQueuedPromptAndSendsNoneTwice) {
  const TemporaryFolder folder;
  ConversationId conversation;
  {
    OpenStore store(folder.path());
    conversation = store.makeConversation();
  }
  std::mt19937 random(20261122);
  std::size_t added = 0;  // those whose operation returned
  for (int round = 0; round < 8; ++round) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t sender = ::fork();
    if (sender == 0) {
      OpenStore store(folder.path());
      const auto queue = QueuedPromptStore::make(store.container);
      for (std::size_t number = added;; ++number) {
        run(queue->add(conversation, {.prompt = std::to_string(round) + "." + std::to_string(number)}));
        if (::write(pipe[1], ".", 1) != 1) ::_exit(1);
        const auto next = run(queue->next(conversation));
        if (number % 3 == 0) continue;
        run(store.items->appendUserPrompt(conversation, next->text.prompt, AgentType::claude, {.queued = next}));
      }
    }
    ::close(pipe[1]);
    const UniqueFd reports(pipe[0]);
    std::array<char, 16> buffer;
    const std::size_t enough = added + 1 + random() % 24;
    while (added < enough) added += static_cast<std::size_t>(std::max<ssize_t>(0, ::read(reports.get(), &buffer, 1)));
    ::kill(sender, SIGKILL);
    ::waitpid(sender, nullptr, 0);
    for (ssize_t count; (count = ::read(reports.get(), buffer.data(), buffer.size())) > 0;) {
      added += static_cast<std::size_t>(count);
    }

    OpenStore store(folder.path());
    std::vector<std::string> all = promptsIn(store, conversation);
    for (const QueuedPrompt& prompt : run(QueuedPromptStore::make(store.container)->prompts(conversation))) {
      all.push_back(prompt.text.prompt);
    }
    EXPECT_EQ(std::set(all.begin(), all.end()).size(), all.size()) << "one stands in both, or twice";
    EXPECT_GE(all.size(), added);
    added = all.size();
  }
}

TEST(TwoSenders, sendEachQueuedPromptOnceAndInOrder) {
  const TemporaryFolder folder;
  ConversationId conversation;
  std::vector<std::string> expected;
  {
    OpenStore store(folder.path());
    conversation = store.makeConversation();
    const auto queue = QueuedPromptStore::make(store.container);
    for (int number = 0; number < 60; ++number) {
      expected.push_back(std::to_string(number));
      run(queue->add(conversation, {.prompt = expected.back()}));
    }
  }
  const auto sendAll = [&] {
    OpenStore store(folder.path());
    const auto queue = QueuedPromptStore::make(store.container);
    while (const auto next = run(queue->next(conversation))) {
      try {
        run(store.items->appendUserPrompt(conversation, next->text.prompt, AgentType::claude, {.queued = next}));
      } catch (const QueuedPromptNotSentError&) {
      }
    }
  };
  const Forked one(sendAll);
  const Forked other(sendAll);
  EXPECT_TRUE(one.succeeds());
  EXPECT_TRUE(other.succeeds());
  OpenStore store(folder.path());
  EXPECT_EQ(promptsIn(store, conversation), expected);
}

}  // namespace
}  // namespace ravant::test
