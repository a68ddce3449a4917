#include "desktop/composer/prompt_composer.hpp"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

#include "app/known_settings.hpp"
#include "platform/sqlite/transaction.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::PromptComposer;
using desktop::textOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Runs while the project has a file `hold`.
constexpr std::string_view kAgent = R"sh(#!/bin/sh
while [ -e hold ]; do sleep 0.02; done
echo '{"type":"result","subtype":"success","is_error":false,"result":"Done.","session_id":"5f2c7f1e-8a35-4d0e-9b5c-2f6f6f3f7a10"}'
)sh";

class Composer : public testing::Test {
 protected:
  Composer() {
    std::filesystem::permissions(workbench.folder().write("agent", kAgent), std::filesystem::perms::owner_all);
    project = workbench.addProject("weather");
    agent =
        await(application.agents().createAgent(AgentType::claude, workbench.folder() / "agent",
                                               {{.slug = "sonnet", .displayName = "Sonnet", .efforts = {"low", "high"}},
                                                {.slug = "opus", .displayName = "Opus"}}));
    composer = std::make_unique<PromptComposer>();
  }

  void startNew() {
    workbench.window().startNewConversation(textOf(project.id));
    EXPECT_TRUE(until([&] { return composer->pickers()->agentName() == QStringLiteral("Claude Code"); }));
  }
  /// Shows it, when what it is sent with is known.
  void open(ConversationId conversation) {
    workbench.window().openConversation(textOf(conversation), textOf(project.id));
    await(application.conversations().conversation(conversation));
    workbench.settle();
  }
  ConversationId newConversation() {
    return await(application.conversations().createConversation(project.id, agent.id)).value();
  }
  void type(const char* text) { composer->setText(QString::fromUtf8(text)); }
  void sendWhenReady(const char* text) {
    type(text);
    EXPECT_TRUE(until([&] { return composer->canSend(); }));
    composer->send();
  }
  ConversationId shown() { return workbench.window().shownConversation().value(); }
  std::vector<std::string> told(ConversationId conversation) {
    std::vector<std::string> lines;
    for (const ConversationItem& item : await(application.transcripts().items(conversation, std::nullopt))) {
      if (const auto* prompt = std::get_if<UserMessage>(&item.detail)) {
        lines.push_back(item.text + " " + std::string(prompt->endReason ? rawValue(*prompt->endReason) : "runs"));
      }
    }
    return lines;
  }
  std::optional<std::string> draft(DraftPlace place) {
    return await(DraftStore::make(application.modelContainer())->draft(place));
  }
  bool untilDraft(DraftPlace place, std::optional<std::string> text) {
    return until([&] { return draft(place) == text; });
  }
  bool untilLast(ConversationId conversation, const std::string& line) {
    return until([&] {
      const auto lines = told(conversation);
      return !lines.empty() && lines.back() == line;
    });
  }
  std::vector<std::string> queued() {
    std::vector<std::string> texts;
    for (int row = 0; row < composer->queue()->count(); ++row) {
      texts.push_back(composer->queue()->data(composer->queue()->index(row), Qt::DisplayRole).toString().toStdString());
    }
    return texts;
  }
  std::string text() { return composer->text().toStdString(); }
  std::string refusal() { return composer->refusal().toStdString(); }
  void hold() { workbench.folder().write("weather/hold", ""); }
  void letGo() { std::filesystem::remove(workbench.folder() / "weather/hold"); }

  Workbench workbench;
  Application& application = workbench.application();
  Project project;
  Agent agent;
  std::unique_ptr<PromptComposer> composer;
};

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
  composer->queue()->remove(1);
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"now", "three"}; }));
  const auto* notices = workbench.window().notices();
  const int id = notices->data(notices->index(notices->rowCount() - 1), desktop::Notices::idRole).toInt();
  workbench.window().notices()->undo(id);
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"now", "four", "three"}; })) << "where it was";
  composer->queue()->sendNow(2);
  ASSERT_TRUE(until([&] { return queued() == std::vector<std::string>{"three", "now", "four"}; }));

  letGo();
  EXPECT_TRUE(untilLast(conversation, "four finished"));
  EXPECT_THAT(told(conversation), ElementsAre("one finished", "three finished", "now finished", "four finished"));
  EXPECT_TRUE(until([&] { return composer->queue()->count() == 0 && !composer->isRunning(); }));
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

TEST_F(Composer, takesARefusedPromptBack) {
  startNew();
  composer->attach({QUrl::fromLocalFile(QStringLiteral("/gone/file.txt"))});
  sendWhenReady("look");
  ASSERT_TRUE(until([&] { return !composer->refusal().isEmpty(); }));
  EXPECT_EQ(refusal(), "An attached file is gone: /gone/file.txt.");
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

TEST_F(Composer, keepsDraftsAndNeverReplacesWhatIsTyped) {
  const ConversationId conversation = newConversation();
  open(conversation);
  type("half a thought");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  composer->attach({QUrl::fromLocalFile(QString::fromStdString(project.path + "/a b.txt"))});
  EXPECT_TRUE(untilDraft(conversation, "half a thought\n\nAttached: \"a b.txt\"")) << "without being left";

  const auto elsewhere = DraftStore::make(application.modelContainer());
  await(elsewhere->keep(conversation, "from elsewhere"));
  EXPECT_TRUE(until([&] { return text() == "from elsewhere"; }));
  EXPECT_TRUE(composer->attachments().isEmpty());

  type("typed here");
  await(elsewhere->keep(conversation, "again from elsewhere"));
  workbench.settle();
  EXPECT_EQ(text(), "typed here");
  EXPECT_TRUE(untilDraft(conversation, "typed here"));

  startNew();
  EXPECT_EQ(text(), "");
  type("for a new one");  // before it is known what stood there
  open(conversation);
  EXPECT_TRUE(until([&] { return text() == "typed here"; }));
  EXPECT_TRUE(untilDraft(project.id, "for a new one")) << "written when it was left";

  const ConversationId other = newConversation();
  await(elsewhere->keep(other, "kept"));
  workbench.window().openConversation(textOf(other), textOf(project.id));
  type("typed at once");
  EXPECT_TRUE(until([&] { return text() == "kept\n\ntyped at once"; })) << "neither is lost";
  EXPECT_TRUE(untilDraft(other, "kept\n\ntyped at once"));
}

TEST_F(Composer, takesFilesAndNoPicturesFromTheClipboard) {
  open(newConversation());
  type("see");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  QClipboard* const clipboard = QGuiApplication::clipboard();
  const auto paste = [&] { return composer->takeKey(Qt::Key_V, static_cast<int>(Qt::ControlModifier)); };

  clipboard->setText(QStringLiteral("words"));
  EXPECT_FALSE(paste()) << "the field's";
  clipboard->setImage(QImage(2, 2, QImage::Format_RGB32));
  EXPECT_TRUE(paste());
  EXPECT_EQ(refusal(), "Images cannot be sent to Claude Code yet; drop a file instead.");
  auto* const files = new QMimeData;
  files->setUrls({QUrl(QStringLiteral("https://example.test/a")),
                  QUrl::fromLocalFile(QString::fromStdString(project.path + "/src/a.cpp"))});
  clipboard->setMimeData(files);
  EXPECT_TRUE(paste());
  EXPECT_TRUE(paste()) << "once is enough";
  EXPECT_EQ(composer->attachments(), QStringList{QStringLiteral("src/a.cpp")});
}

TEST_F(Composer, walksTheEarlierPrompts) {
  const ConversationId conversation = newConversation();
  open(conversation);
  for (const char* prompt : {"one", "two", "two", "three\nlines"}) {
    sendWhenReady(prompt);
    ASSERT_TRUE(untilLast(conversation, std::string(prompt) + " finished"));
    ASSERT_TRUE(until([&] { return !composer->isRunning(); }));
    ASSERT_TRUE(until([&] { return application.runners().activeConversations().empty(); }));
  }
  const auto press = [&](int key) { return composer->takeKey(key, static_cast<int>(Qt::NoModifier)); };
  EXPECT_FALSE(press(Qt::Key_Down));
  for (const char* prompt : {"three\nlines", "two", "one"}) {
    EXPECT_TRUE(press(Qt::Key_Up));
    EXPECT_TRUE(until([&] { return text() == prompt; })) << text();
  }
  EXPECT_TRUE(press(Qt::Key_Up));
  workbench.settle();
  EXPECT_EQ(text(), "one") << "there is none before";
  EXPECT_TRUE(press(Qt::Key_Down));
  EXPECT_EQ(text(), "two");
  type("two, changed");
  EXPECT_FALSE(press(Qt::Key_Up)) << "the key moves the cursor";
  type("");
  EXPECT_TRUE(press(Qt::Key_Up));
  EXPECT_TRUE(until([&] { return text() == "three\nlines"; }));
  EXPECT_TRUE(press(Qt::Key_Down));
  EXPECT_EQ(text(), "");

  startNew();
  EXPECT_TRUE(press(Qt::Key_Up));
  EXPECT_TRUE(until([&] { return text() == "three\nlines"; })) << "of the project's conversations";
}

TEST_F(Composer, keepsWhatWasTypedBeforeTheDraftWasRead) {
  const ConversationId conversation = newConversation();
  const ConversationId other = newConversation();
  await(DraftStore::make(application.modelContainer())->keep(conversation, "kept\n\nAttached: a.txt"));
  workbench.window().openConversation(textOf(conversation), textOf(project.id));
  type("typed at once");
  open(other);
  EXPECT_TRUE(untilDraft(conversation, "kept\n\ntyped at once\n\nAttached: a.txt")) << draft(conversation).value_or("");
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

TEST_F(Composer, keepsALongTextOutOfTheField) {
  const ConversationId conversation = newConversation();
  open(conversation);
  type("What is wrong?");
  ASSERT_TRUE(until([&] { return composer->canSend(); }));
  const std::string log(1'000'000, 'x');
  QGuiApplication::clipboard()->setText(QString::fromStdString(log));
  EXPECT_TRUE(composer->takeKey(Qt::Key_V, static_cast<int>(Qt::ControlModifier)));
  EXPECT_EQ(text(), "What is wrong?");
  EXPECT_THAT(composer->longText().toStdString(), HasSubstr("1.0 MB"));
  const std::string whole = "What is wrong?\n\n" + log;
  EXPECT_TRUE(untilDraft(conversation, whole));

  composer->removeLongText();
  EXPECT_EQ(composer->longText(), QString());
  const auto* notices = workbench.window().notices();
  const int id = notices->data(notices->index(notices->rowCount() - 1), desktop::Notices::idRole).toInt();
  workbench.window().notices()->undo(id);
  EXPECT_TRUE(until([&] { return !composer->longText().isEmpty(); }));
  composer->showLongText();
  EXPECT_EQ(text(), whole);
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

TEST_F(Composer, neverReplacesTypedWordsByAnEarlierPrompt) {
  const ConversationId conversation = newConversation();
  const ConversationId other = newConversation();
  open(conversation);
  sendWhenReady("one");
  ASSERT_TRUE(untilLast(conversation, "one finished"));
  ASSERT_TRUE(until([&] { return !composer->isUnderWay(); }));
  const auto pressUp = [&] { return composer->takeKey(Qt::Key_Up, static_cast<int>(Qt::NoModifier)); };
  EXPECT_TRUE(pressUp());
  type("typed");
  workbench.settle();
  await(application.transcripts().last(conversation));
  workbench.settle();
  EXPECT_EQ(text(), "typed");

  type("");
  EXPECT_TRUE(pressUp());
  open(other);
  workbench.settle();
  EXPECT_EQ(text(), "") << "of what is not shown any more";
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
