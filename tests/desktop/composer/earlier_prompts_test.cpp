#include <gmock/gmock.h>

#include "tests/desktop/composer/composer_test.hpp"

namespace ravant::test {
namespace {

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
  ASSERT_TRUE(untilDraft(conversation, "one")) << "whatever happens to the conversation, it stays";
  await(application.conversations().renameConversation(conversation, "Numbers"));
  open(conversation);
  EXPECT_EQ(text(), "one");
  EXPECT_TRUE(press(Qt::Key_Down));
  EXPECT_EQ(text(), "two");
  type("two, changed");
  EXPECT_FALSE(press(Qt::Key_Up)) << "the key moves the cursor";
  type("");
  EXPECT_TRUE(press(Qt::Key_Up));
  EXPECT_TRUE(until([&] { return text() == "three\nlines"; }));
  EXPECT_TRUE(press(Qt::Key_Down));
  EXPECT_EQ(text(), "");
  EXPECT_TRUE(untilDraft(conversation, std::nullopt));

  startNew();
  EXPECT_TRUE(press(Qt::Key_Up));
  EXPECT_TRUE(until([&] { return text() == "three\nlines"; })) << "of the project's conversations";
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

}  // namespace
}  // namespace ravant::test
