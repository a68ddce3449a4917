#include "tests/palette/command_palette_model_test.hpp"

namespace ravant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(PaletteTest, followsTheStoreWhileItIsOpen) {
  const ConversationId kept = addConversation("Kept");
  const ConversationId gone = addConversation("Gone");
  const std::string keptId = CommandPaletteModel::conversationItemID(kept);
  const std::string goneId = CommandPaletteModel::conversationItemID(gone);
  configure({});
  open();
  execute(goneId);
  palette->setQuery("o");
  EXPECT_THAT(ids("Recent"), ElementsAre(goneId));
  run(store.conversations->deleteConversation(gone));
  awaitChange();
  EXPECT_THAT(ids("Recent"), IsEmpty());

  palette->setQuery("");
  palette->setSelectedIndex(8);
  ASSERT_EQ(palette->selectedItem()->id, keptId);
  const std::string added = CommandPaletteModel::conversationItemID(addConversation("Added"));
  // It is made and then named: the palette may hear of both at once or not.
  const auto isShown = [&] { return ids("Conversations").size() == 2 && itemWithID(added).title == "Added"; };
  while (!isShown()) awaitChange();
  EXPECT_THAT(ids("Conversations"), ElementsAre(added, keptId));
  EXPECT_EQ(palette->selectedItem()->id, keptId);  // though it moved

  run(store.projects->remove(project));
  while (!ids("Projects").empty()) awaitChange();
  EXPECT_THAT(titles(), ElementsAre("Commands"));

  palette->close();
  const int before = changes;
  run(store.projects->create("/home/user/late", "late"));
  for (const int heard = batches; batches == heard;) loop.run_one();
  EXPECT_EQ(changes, before);
}

TEST_F(PaletteTest, isLeftAloneByWhatChangesNothingItShows) {
  const ConversationId conversation = addConversation("Talk");
  configure({});
  open();
  const int before = changes;
  run(store.items->appendUserPrompt(conversation, "Go on", AgentType::claude));
  for (const int heard = batches; batches == heard;) loop.run_one();
  run(store.conversations->renameConversation(conversation, "Talk on"));
  while (itemWithID(ids("Conversations").front()).title != "Talk on") loop.run_one();
  EXPECT_EQ(changes - before, 1);
}

TEST_F(PaletteTest, offersWhatIsKnownWhileItReads) {
  const std::string first = CommandPaletteModel::conversationItemID(addConversation("First"));
  const std::string second = CommandPaletteModel::conversationItemID(addConversation("Second"));
  configure({});
  open();
  palette->setQuery("first");
  palette->close();
  const int before = changes;
  bool isOpen = false;
  asio::co_spawn(loop, palette->open(), [&](std::exception_ptr) { isOpen = true; });
  while (changes == before) loop.run_one();
  EXPECT_FALSE(isOpen);
  EXPECT_THAT(ids("Conversations"), ElementsAre(second, first));
  while (palette->selectedItem()->id != first) palette->setSelectedIndex(palette->selectedIndex() + 1);
  // It is used before that is known of the store, and another one comes.
  asio::co_spawn(loop, palette->execute(itemWithID(second)), [](std::exception_ptr) {});
  while (!isOpen) loop.run_one();
  EXPECT_THAT(ids("Recent"), ElementsAre(second));
  EXPECT_EQ(palette->selectedItem()->id, first);
}

TEST_F(PaletteTest, readsEverythingAgainAfterAFailure) {
  configure({});
  sqlite::Database other = store.container->connect();
  other.execute("ALTER TABLE palette_use RENAME TO elsewhere");
  EXPECT_THROW(open(), StoreError);
  EXPECT_THAT(titles(), ElementsAre("Commands"));
  other.execute("ALTER TABLE elsewhere RENAME TO palette_use");
  addConversation("Talk");
  while (ids("Projects").empty()) loop.run_one();
}

TEST_F(PaletteTest, actsBeforeItStoresThat) {
  configure({});
  open();
  {
    sqlite::Database other = store.container->connect();
    const sqlite::Transaction writing(other);
    execute("command.focusInput");
    EXPECT_THAT(performed, ElementsAre("focusInput"));
    EXPECT_THAT(ids("Recent"), ElementsAre("command.focusInput"));
    open();
    EXPECT_THAT(ids("Recent"), ElementsAre("command.focusInput"));
  }
  execute("command.settings");
  configure({});
  open();
  EXPECT_THAT(ids("Recent"), ElementsAre("command.settings", "command.focusInput"));
}

TEST_F(PaletteTest, canGoWhileItReads) {
  configure({});
  open();
  palette->take({.changes = {}, .isIncomplete = true});
  loop.run_one();
  const std::weak_ptr<CommandPaletteModel> left = palette;
  palette = nullptr;
  EXPECT_TRUE(left.expired());
}

}  // namespace
}  // namespace ravant::test
