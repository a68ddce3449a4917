#include "desktop/program/store_changes.hpp"

#include <gmock/gmock.h>

#include "core/store/conversation_item_model_actor.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::StoreChanges;
using testing::ElementsAre;
using testing::Pair;

TEST(StoreChangesTest, TellsEachEntityOnceWithWhatHappenedLastAndGrowthInOrder) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId conversation = workbench.addConversation(project);
  workbench.settle();

  std::vector<ChangeOperation> told;
  std::string grown;
  StoreChanges& changes = workbench.program().changes();
  QObject::connect(&changes, &StoreChanges::conversationChanged, [&](ConversationId id, ChangeOperation operation) {
    if (id == conversation) told.push_back(operation);
  });
  QObject::connect(&changes, &StoreChanges::grew, [&](ConversationId, const Growth& growth) { grown += growth.text; });

  const auto& feed = workbench.application().modelContainer()->changeFeed();
  await([](Application& application, ConversationId id, std::shared_ptr<ChangeFeed> shared) -> awaitable<void> {
    co_await application.conversations().renameConversation(id, "Cache headers");
    for (const char* text : {"one ", "two ", "three"}) co_await shared->announceGrowth(id, {.text = text});
    co_await application.conversations().deleteConversation(id);
    co_await shared->flush();
  }(workbench.application(), conversation, feed));

  EXPECT_TRUE(until([&] { return !told.empty() && told.back() == ChangeOperation::removed; }));
  EXPECT_EQ(grown, "one two three");
}

TEST(StoreChangesTest, TellsOfWhatIsNewAlsoWhereItWasChangedAtOnce) {
  Workbench workbench;
  const ConversationId conversation = workbench.addConversation(workbench.addProject("weather"));
  workbench.settle();
  std::vector<std::pair<ConversationItemId, ChangeOperation>> told;
  QObject::connect(
      &workbench.program().changes(), &StoreChanges::itemChanged,
      [&](ConversationId, ConversationItemId item, ChangeOperation operation) { told.emplace_back(item, operation); });

  await([](std::shared_ptr<ModelContainer> store, ConversationId id) -> awaitable<void> {
    const auto writer = ConversationItemModelActor::make(store);
    for (const char* message : {"one", "two"}) {
      std::vector<TranscriptAction> actions;
      actions.emplace_back(turn::AppendAgentMessage{.rawJSON = "{}", .text = message, .providerMessageId = message});
      actions.emplace_back(turn::ApplyUsage{.providerMessageId = message, .snapshot = {.usedTokens = 7}});
      co_await writer->apply(id, std::move(actions));
    }
    co_await store->changeFeed()->flush();
  }(workbench.application().modelContainer(), conversation));
  ASSERT_TRUE(until([&] { return told.size() >= 2; }));
  EXPECT_THAT(told,
              ElementsAre(Pair(testing::_, ChangeOperation::inserted), Pair(testing::_, ChangeOperation::inserted)));
  EXPECT_NE(told.front().first, told.back().first);
}

}  // namespace
}  // namespace ravant::test
