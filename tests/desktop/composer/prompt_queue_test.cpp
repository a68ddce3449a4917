#include <gmock/gmock.h>

#include <QAbstractItemModelTester>

#include "platform/sqlite/database.hpp"
#include "tests/desktop/composer/composer_test.hpp"

namespace ravant::test {
namespace {

using desktop::textOf;
using testing::ElementsAre;

TEST_F(Composer, queuesBehindARunAndChangesWhatWaits) {
  QAbstractItemModelTester queue(composer->queue(), QAbstractItemModelTester::FailureReportingMode::Warning);
  hold();
  const ConversationId conversation = newConversation();
  open(conversation);
  sendWhenReady("one");
  ASSERT_TRUE(until([&] { return composer->isRunning(); }));
  EXPECT_EQ(composer->stopObstacle(), QString());
  for (const char* prompt : {"two", "three", "four"}) sendWhenReady(prompt);
  ASSERT_TRUE(until([&] { return composer->queue()->count() == 3; }));
  EXPECT_TRUE(untilDraft(conversation, std::nullopt)) << "what waits is no draft";
  type("now");
  composer->sendNow();
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"now", "two", "three", "four"}; }));

  composer->queue()->move(3, -1);
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"now", "two", "four", "three"}; }));
  type("later");
  composer->queue()->edit(1);
  ASSERT_TRUE(until([&] { return text() == "two\n\nlater" && composer->queue()->count() == 3; }));
  sendWhenReady("two again");
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"now", "two again", "four", "three"}; }))
      << "where it was";
  composer->queue()->edit(1);
  ASSERT_TRUE(until([&] { return text() == "two again" && composer->queue()->count() == 3; }));
  type("");
  composer->queue()->remove(1);
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"now", "three"}; }));
  const auto* notices = workbench.window().notices();
  const int id = notices->data(notices->index(notices->rowCount() - 1), desktop::Notices::idRole).toInt();
  workbench.window().notices()->accept(id);
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"now", "four", "three"}; })) << "where it was";
  composer->queue()->sendNow(2);
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"three", "now", "four"}; }));

  letGo();
  EXPECT_TRUE(untilLast(conversation, "four finished"));
  EXPECT_THAT(told(conversation), ElementsAre("one finished", "three finished", "now finished", "four finished"));
  EXPECT_TRUE(until([&] { return composer->queue()->count() == 0 && !composer->isRunning(); }));
}

TEST_F(Composer, sendsTheFirstThatWaitsWhereItIsTriedAgain) {
  const ConversationId conversation = newConversation();
  open(conversation);
  const auto prompts = QueuedPromptStore::make(application.modelContainer());
  for (const char* prompt : {"one", "two"}) await(prompts->add(conversation, {.prompt = prompt}));
  ASSERT_TRUE(until([&] { return composer->queue()->count() == 2; }));
  workbench.window().sendQueued(conversation);
  EXPECT_TRUE(untilLast(conversation, "two finished")) << "the queue goes on";
  EXPECT_THAT(told(conversation), ElementsAre("one finished", "two finished"));
  ASSERT_TRUE(until([&] { return composer->queue()->count() == 0; }));
  EXPECT_EQ(workbench.window().notices()->rowCount(), 0);
  workbench.window().sendQueued(conversation);
  EXPECT_EQ(workbench.window().notices()->rowCount(), 1) << "that nothing waits is said";
}

TEST_F(Composer, saysWithTheUsersKeysWhatSendsBehindARun) {
  const auto bind = [&](const char* keys) {
    workbench.folder().write("settings.json", std::string(R"({"keybindings":{"sendNow":)") + keys + "}}");
    application.settings().load();
    workbench.window().loadKeybindings();
  };
  hold();
  open(newConversation());
  sendWhenReady("one");
  ASSERT_TRUE(until([&] { return composer->isRunning(); }));
  bind(R"("Ctrl+Shift+Y")");
  EXPECT_EQ(composer->placeholder().toStdString(), "Enter queues a prompt behind this run, Ctrl Shift Y puts it first");
  bind("null");
  EXPECT_EQ(composer->placeholder().toStdString(), "Enter queues a prompt behind this run");
  letGo();
  EXPECT_TRUE(until([&] { return !composer->isRunning(); }));
}

TEST_F(Composer, stopsTheRunAndLeavesTheQueueUntilItIsSent) {
  hold();
  const ConversationId conversation = newConversation();
  open(conversation);
  sendWhenReady("one");
  ASSERT_TRUE(until([&] { return composer->isRunning(); }));
  sendWhenReady("two");
  ASSERT_TRUE(until([&] { return composer->queue()->count() == 1; }));
  composer->stop();
  ASSERT_TRUE(untilLast(conversation, "one cancelled"));
  ASSERT_TRUE(until([&] { return !composer->isRunning(); }));
  letGo();
  composer->queue()->sendNow(0);
  EXPECT_TRUE(untilLast(conversation, "two finished"));
}

TEST_F(Composer, givesAQueuedPromptBackToItsOwnConversationWithItsModel) {
  hold();
  const ConversationId conversation = newConversation();
  const ConversationId other = newConversation();
  open(conversation);
  sendWhenReady("one");
  ASSERT_TRUE(until([&] { return composer->isRunning(); }));
  composer->pickers()->chooseModel(1);
  ASSERT_TRUE(until([&] { return composer->pickers()->modelName() == QStringLiteral("Opus"); }));
  composer->attach(
      {QUrl::fromLocalFile(QString::fromStdString(workbench.folder().write("weather/a.txt", "").string()))});
  sendWhenReady("two");
  ASSERT_TRUE(until([&] { return composer->queue()->count() == 1; }));
  composer->pickers()->chooseModel(0);
  ASSERT_TRUE(until([&] { return composer->pickers()->modelName() == QStringLiteral("Sonnet"); }));

  composer->queue()->edit(0);
  open(other);
  type("of the other");
  EXPECT_TRUE(untilDraft(conversation, "two\n\nAttached: a.txt"));
  EXPECT_EQ(text(), "of the other");
  open(conversation);
  EXPECT_TRUE(until([&] { return text() == "two" && composer->attachments().size() == 1; }));
  EXPECT_TRUE(until([&] { return composer->pickers()->modelName() == QStringLiteral("Opus"); }));
  letGo();
  EXPECT_TRUE(untilLast(conversation, "one finished"));
}

TEST_F(Composer, queuesPromptsInTheOrderInWhichTheyWereSent) {
  hold();
  open(newConversation());
  sendWhenReady("one");
  ASSERT_TRUE(until([&] { return composer->isRunning(); }));
  for (const char* prompt : {"a", "b", "c", "d"}) {
    type(prompt);
    composer->send();
  }
  ASSERT_TRUE(until([&] { return composer->queue()->count() == 4; }));
  EXPECT_THAT(queued(), ElementsAre("a", "b", "c", "d"));
  composer->stop();
  letGo();
  EXPECT_TRUE(until([&] { return !composer->isUnderWay(); }));
}

TEST_F(Composer, queuesOnAfterAPromptThatCouldNotEvenBeKept) {
  hold();
  const ConversationId conversation = newConversation();
  const ConversationId elsewhere = newConversation();
  open(conversation);
  sendWhenReady("one");
  ASSERT_TRUE(until([&] { return composer->isRunning(); }));
  sqlite::Database other = application.modelContainer()->connect();
  other.execute("CREATE TRIGGER refusal BEFORE INSERT ON draft BEGIN SELECT RAISE(ABORT, 'refused'); END");
  composer->attach({QUrl::fromLocalFile(QStringLiteral("/gone/file.txt"))});
  type("two");
  composer->send();
  QStringList failures;
  QObject::connect(&desktop::InterfaceLoop::instance(), &desktop::InterfaceLoop::failed, composer.get(),
                   [&](const QString& words) { failures.append(words); });
  workbench.window().openConversation(textOf(elsewhere), textOf(project.id));
  ASSERT_TRUE(until([&] { return !failures.isEmpty(); }));
  other.execute("DROP TRIGGER refusal");

  open(conversation);
  ASSERT_TRUE(until([&] { return composer->isRunning(); }));
  type("");
  while (!composer->attachments().isEmpty()) composer->detach(0);
  sendWhenReady("three");
  EXPECT_TRUE(until([&] { return queued() == std::vector<std::string>{"three"}; }));
  letGo();
  EXPECT_TRUE(untilLast(conversation, "three finished"));
}

}  // namespace
}  // namespace ravant::test
