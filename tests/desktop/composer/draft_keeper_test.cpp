#include "desktop/composer/draft_keeper.hpp"

#include <gmock/gmock.h>

#include "platform/sqlite/transaction.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::DraftKeeper;
using desktop::InterfaceLoop;
using desktop::PromptSender;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRefusal =
    "CREATE TRIGGER refusal BEFORE INSERT ON draft BEGIN SELECT RAISE(ABORT, 'refused'); END";

class Drafts : public testing::Test {
 protected:
  Drafts() {
    QObject::connect(&keeper, &DraftKeeper::arrived, [this](const std::string& arriving) {
      text = arriving;
      arrived.push_back(arriving);
    });
  }

  void type(const std::string& typed) {
    text = typed;
    keeper.typed();
  }
  void store(const char* stored) { await(sender->drafts().keep(conversation, stored)); }
  bool untilStored(const std::string& wanted) {
    return until([&] { return await(sender->drafts().draft(conversation)) == wanted; });
  }
  /// Runs what is posted on the loop, so that what it asks of the store is on its way.
  static void runPosted() {
    for (int i = 0; i < 10; ++i) QCoreApplication::sendPostedEvents(&InterfaceLoop::instance());
  }
  /// The drafts' store answers nothing until the transaction is over.
  void occupyStore() {
    InterfaceLoop::instance().spawn(sender->drafts().keep(project.id, "in front"));
    runPosted();
  }

  Workbench workbench;
  Application& application = workbench.application();
  Project project = workbench.addProject("weather");
  ConversationId conversation = workbench.addConversation(project);
  std::string text;
  int asked = 0;
  std::vector<std::string> arrived;
  std::shared_ptr<PromptSender> sender = std::make_shared<PromptSender>(application, workbench.window().changes());
  DraftKeeper keeper{sender, workbench.window().changes(), [this] {
                       ++asked;
                       return text;
                     }};
};

TEST_F(Drafts, keepsWhatStoodThereAndWhatIsTypedWhileItIsReadAndWritten) {
  store("kept");
  sqlite::Database other = application.modelContainer()->connect();
  {
    const sqlite::Transaction writing(other);
    occupyStore();
    keeper.open(conversation);
    runPosted();
    type("n");
    keeper.writeNow();
    runPosted();
    type("new");
  }
  ASSERT_TRUE(until([&] { return !arrived.empty(); }));
  EXPECT_EQ(text, "kept\n\nnew");
  EXPECT_TRUE(untilStored("kept\n\nnew"));
  type("kept\n\nnew and more");
  EXPECT_TRUE(untilStored("kept\n\nnew and more"));
  EXPECT_THAT(arrived, ElementsAre("kept\n\nnew"));
}

TEST_F(Drafts, showsNothingOlderThanWhatIsBeingWritten) {
  store("kept");
  sqlite::Database other = application.modelContainer()->connect();
  {
    const sqlite::Transaction writing(other);
    occupyStore();
    keeper.open(conversation);
    runPosted();
    type("new");
    keeper.writeNow();
    runPosted();
  }
  EXPECT_TRUE(untilStored("kept\n\nnew"));
  ASSERT_TRUE(until([&] { return !arrived.empty(); }));
  EXPECT_THAT(arrived, ElementsAre("kept\n\nnew"));
}

TEST_F(Drafts, neverShowsWhatWasTypedEarlier) {
  keeper.open(conversation);
  type("a");
  ASSERT_TRUE(untilStored("a"));
  // With each letter comes a reading of what stood there a moment ago.
  std::string typed = "a";
  for (const char letter : std::string_view("bcdefghijkl")) {
    Q_EMIT workbench.window().changes().conversationChanged(conversation, ChangeOperation::updated);
    typed += letter;
    type(typed);
    keeper.writeNow();
    workbench.settle();
  }
  EXPECT_TRUE(untilStored(typed));
  EXPECT_EQ(text, typed);
  EXPECT_THAT(arrived, IsEmpty());
}

TEST_F(Drafts, leavesTheTextAloneWhileItIsTyped) {
  keeper.open(conversation);
  workbench.settle();
  text.assign(1'000'000, 'x');
  keeper.typed();
  ASSERT_TRUE(untilStored(text));
  asked = 0;
  for (int key = 0; key < 100; ++key) keeper.typed();
  workbench.settle();
  EXPECT_LE(asked, 2);
}

TEST_F(Drafts, triesAgainUntilWhatIsTypedIsStored) {
  sqlite::Database other = application.modelContainer()->connect();
  other.execute(kRefusal);
  store("");
  keeper.open(conversation);
  workbench.settle();
  type("wanted");
  const auto* const notices = workbench.window().notices();
  ASSERT_TRUE(until([&] { return notices->rowCount() > 0; }));
  other.execute("DROP TRIGGER refusal");
  EXPECT_TRUE(untilStored("wanted"));
  EXPECT_TRUE(until([&] { return notices->rowCount() == 0; })) << "what was told is over";
}

TEST_F(Drafts, losesNothingOfAPlaceThatWasLeftBeforeItsTextCouldBeStored) {
  sqlite::Database other = application.modelContainer()->connect();
  store("");
  bool wasRefused = false;
  QObject::connect(&InterfaceLoop::instance(), &InterfaceLoop::failed, [&](const QString&) { wasRefused = true; });
  const auto go = [this](const DraftPlace& place) {
    keeper.open(place);
    text.clear();
  };
  for (const bool comesBack : {false, true}) {
    const std::string wanted = comesBack ? "wanted again" : "wanted";
    go(conversation);
    workbench.settle();
    ASSERT_TRUE(until([&] { return text.empty() || text == "wanted"; }));
    other.execute(kRefusal);
    type(wanted);
    wasRefused = false;
    go(project.id);
    if (comesBack) go(conversation);
    ASSERT_TRUE(until([&] { return wasRefused; }));
    other.execute("DROP TRIGGER refusal");
    EXPECT_TRUE(untilStored(wanted));
    EXPECT_EQ(text, comesBack ? wanted : "");
    go(project.id);
    store("");
  }
}

}  // namespace
}  // namespace ravant::test
