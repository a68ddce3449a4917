#include <gmock/gmock.h>

#include "tests/desktop/composer/composer_test.hpp"

namespace ravant::test {
namespace {

using desktop::textOf;

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

TEST_F(Composer, keepsWhatWasTypedBeforeTheDraftWasRead) {
  const ConversationId conversation = newConversation();
  const ConversationId other = newConversation();
  await(DraftStore::make(application.modelContainer())->keep(conversation, "kept\n\nAttached: a.txt"));
  workbench.window().openConversation(textOf(conversation), textOf(project.id));
  type("typed at once");
  open(other);
  EXPECT_TRUE(untilDraft(conversation, "kept\n\ntyped at once\n\nAttached: a.txt")) << draft(conversation).value_or("");
}

}  // namespace
}  // namespace ravant::test
