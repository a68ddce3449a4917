#include <gmock/gmock.h>

#include <QAbstractItemModelTester>

#include "app/known_settings.hpp"
#include "core/agent_command.hpp"
#include "platform/sqlite/database.hpp"
#include "platform/sqlite/transaction.hpp"
#include "tests/desktop/composer/composer_test.hpp"
#include "tests/support/store.hpp"

namespace ravant::test {
namespace {

using desktop::PromptComposer;
using desktop::textOf;
using testing::HasSubstr;
using testing::IsEmpty;

TEST_F(Composer, beginsAConversationWithWhatWasChosenAndKeepsIt) {
  QAbstractItemModelTester models(composer->pickers()->models(),
                                  QAbstractItemModelTester::FailureReportingMode::Warning);
  startNew();
  EXPECT_TRUE(composer->pickers()->canChooseAgent()) << "Ravant's own is there too";
  EXPECT_EQ(composer->pickers()->modelName(), QStringLiteral("Sonnet"));
  composer->pickers()->models()->setFilter(QStringLiteral("opu"));
  ASSERT_EQ(composer->pickers()->models()->rowCount(), 2) << "Opus, and the text itself";
  composer->pickers()->models()->setFilter(QStringLiteral("Sonnet"));
  composer->pickers()->chooseModel(0);
  composer->pickers()->chooseEffort(2);
  EXPECT_TRUE(until([&] { return composer->pickers()->effortName() == QStringLiteral("High"); }));

  ASSERT_TRUE(until([&] {
    application.settings().load();
    return application.settings().text(setting::kNewConversationEffort) == "high";
  }));
  composer = std::make_unique<PromptComposer>();
  EXPECT_TRUE(until([&] { return composer->pickers()->effortName() == QStringLiteral("High"); })) << "after a restart";
  EXPECT_EQ(composer->pickers()->modelName(), QStringLiteral("Sonnet"));

  sendWhenReady("one");
  EXPECT_EQ(text(), "");
  ASSERT_TRUE(until([&] { return workbench.window().shownConversation().has_value(); }));
  const ConversationId conversation = shown();
  EXPECT_TRUE(untilLast(conversation, "one finished"));
  EXPECT_TRUE(untilDraft(project.id, std::nullopt));
  EXPECT_FALSE(composer->pickers()->canChooseAgent());
  const auto used = await(application.conversations().conversation(conversation))->conversation;
  EXPECT_EQ(used.lastUsedModel, "sonnet");
  EXPECT_EQ(used.lastUsedEffortRawValue, "high");

  // Another window sees the same.
  composer = std::make_unique<PromptComposer>();
  EXPECT_TRUE(until([&] { return composer->pickers()->effortName() == QStringLiteral("High"); }));
  EXPECT_EQ(composer->pickers()->modelName(), QStringLiteral("Sonnet"));
}

TEST_F(Composer, takesARefusedPromptBack) {
  startNew();
  composer->attach({QUrl::fromLocalFile(QStringLiteral("/gone/file.txt"))});
  sendWhenReady("look");
  ASSERT_TRUE(until([&] { return !composer->refusal().isEmpty(); }));
  EXPECT_EQ(refusal(), "An attached file is gone: /gone/file.txt. Put it back, or take it out of the prompt.");
  EXPECT_EQ(text(), "look");
  EXPECT_EQ(composer->attachments(), QStringList{QStringLiteral("/gone/file.txt")});
  composer->detach(0);

  std::filesystem::remove_all(project.path);
  composer->send();
  EXPECT_EQ(text(), "");
  type("and more");  // before the answer is there
  ASSERT_TRUE(until([&] { return composer->refusal().contains(QStringLiteral("weather")); }));
  EXPECT_THAT(refusal(), HasSubstr("Nothing can run in the project weather"));
  EXPECT_EQ(text(), "look\n\nand more");
  EXPECT_TRUE(untilDraft(project.id, "look\n\nand more"));
  type(std::string(AgentCommand::largestPromptBytes() + 1, 'x').c_str());
  std::filesystem::create_directory(project.path);
  composer->send();
  ASSERT_TRUE(until([&] { return composer->refusal().contains(QStringLiteral("bytes")); }));
  EXPECT_THAT(refusal(), HasSubstr("Claude Code can be given"));
  EXPECT_THAT(await(application.conversations().conversations({})), IsEmpty()) << "no conversation was begun";
}

TEST_F(Composer, keepsARefusedPromptAsADraftWhenSomethingElseIsShown) {
  const ConversationId conversation = newConversation();
  const ConversationId other = newConversation();
  open(conversation);
  type("wanted");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  std::filesystem::remove_all(project.path);
  composer->send();
  type("and more");
  open(other);
  ASSERT_TRUE(until([&] { return workbench.window().notices()->rowCount() > 0; }));
  EXPECT_EQ(text(), "");
  EXPECT_EQ(refusal(), "");
  EXPECT_EQ(draft(conversation), "wanted\n\nand more");
  open(conversation);
  EXPECT_TRUE(until([&] { return text() == "wanted\n\nand more"; }));
}

TEST_F(Composer, sendsToItsEndWhileSomethingElseIsShown) {
  const ConversationId conversation = newConversation();
  const ConversationId other = newConversation();
  open(conversation);
  sendWhenReady("one");
  open(other);
  type("half");
  open(conversation);
  EXPECT_EQ(text(), "") << "what is on its way is no draft";
  EXPECT_TRUE(untilLast(conversation, "one finished"));
  EXPECT_TRUE(untilDraft(conversation, std::nullopt));
  EXPECT_EQ(text(), "");
  EXPECT_EQ(draft(other), "half");
}

TEST_F(Composer, leavesAPromptOnceThatIsRefusedInItsNewConversation) {
  startNew();
  type("look");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  QObject::connect(&workbench.window(), &desktop::DesktopWindow::selectionChanged, composer.get(), [&] {
    if (workbench.window().shownConversation()) std::filesystem::remove_all(project.path);
  });
  composer->send();
  ASSERT_TRUE(until([&] { return !composer->refusal().isEmpty(); }));
  EXPECT_EQ(text(), "look");
  EXPECT_TRUE(untilDraft(shown(), "look"));
  EXPECT_TRUE(untilDraft(project.id, std::nullopt)) << "the page of a new one does not offer it again";
}

TEST_F(Composer, keepsAPromptThatIsRefusedBecauseAnotherProgramWasFirst) {
  const ConversationId conversation = newConversation();
  open(conversation);
  type("ours");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  OpenStore other(workbench.folder() / "data", std::chrono::milliseconds(1));
  run(other.items->beginRun(conversation));
  run(other.items->appendUserPrompt(conversation, "theirs", AgentType::claude));
  composer->send();  // before the window knows of it
  ASSERT_TRUE(until([&] { return !composer->refusal().isEmpty(); }));
  workbench.settle();
  EXPECT_EQ(text(), "ours");
  EXPECT_TRUE(untilDraft(conversation, "ours"));
  EXPECT_EQ(told(conversation), std::vector<std::string>{"theirs runs"});
}

TEST_F(Composer, stopsAPromptThatIsNotYetStored) {
  const ConversationId conversation = newConversation();
  open(conversation);
  type("too soon");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  composer->send();
  EXPECT_TRUE(composer->isUnderWay());
  composer->stop();
  ASSERT_TRUE(until([&] { return text() == "too soon"; })) << "it comes back";
  EXPECT_FALSE(composer->isUnderWay());
  EXPECT_EQ(refusal(), "");
  EXPECT_THAT(told(conversation), IsEmpty());
}

TEST_F(Composer, takesAlongWhatIsTypedWhileTheConversationIsMade) {
  startNew();
  type("one");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  composer->send();
  type("and more");
  ASSERT_TRUE(until([&] { return workbench.window().shownConversation().has_value(); }));
  EXPECT_EQ(text(), "and more");
  EXPECT_TRUE(untilDraft(shown(), "and more"));
  EXPECT_TRUE(untilDraft(project.id, std::nullopt)) << "it is there once";
  EXPECT_EQ(text(), "and more");

  // It had become the page's draft already.
  startNew();
  type("two");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  sqlite::Database other = application.modelContainer()->connect();
  {
    const sqlite::Transaction writing(other);
    composer->send();
    type("more of it");
    composer->takeKey(Qt::Key_Return, static_cast<int>(Qt::NoModifier));
    Q_EMIT workbench.window().end()->stateChanged();
  }
  ASSERT_TRUE(until([&] { return workbench.window().shownConversation().has_value(); }));
  EXPECT_TRUE(untilDraft(project.id, std::nullopt));
  EXPECT_TRUE(untilLast(shown(), "more of it finished")) << "it was to be sent too";
  EXPECT_TRUE(until([&] { return text().empty(); }));
}

TEST_F(Composer, sendsWhatWasToBeSentBeforeItWasKnownWhereto) {
  const ConversationId conversation = newConversation();
  workbench.window().openConversation(textOf(conversation), textOf(project.id));
  type("quick");
  ASSERT_FALSE(composer->canSend());
  composer->send();
  EXPECT_TRUE(untilLast(conversation, "quick finished"));

  const ConversationId other = newConversation();
  workbench.window().openConversation(textOf(other), textOf(project.id));
  type("half");
  composer->send();
  type("half a thought");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  EXPECT_EQ(text(), "half a thought") << "who types on has not finished";
}

}  // namespace
}  // namespace ravant::test
