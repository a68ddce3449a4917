#include "desktop/palette/palette_model.hpp"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <algorithm>
#include <chrono>

#include "app/known_settings.hpp"
#include "core/store/conversation_item_model_actor.hpp"
#include "desktop/palette/search_model.hpp"
#include "platform/sqlite/database.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::CommandHandler;
using desktop::PaletteModel;
using desktop::PaletteRows;
using desktop::SearchModel;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> texts(const PaletteRows& rows, int role) {
  std::vector<std::string> found;
  for (int row = 0; row < rows.rowCount(); ++row) {
    found.push_back(rows.data(rows.index(row), role).toString().toStdString());
  }
  return found;
}

std::vector<std::string> titles(const PaletteRows& rows) { return texts(rows, PaletteRows::titleRole); }

CommandHandler* handle(const char* command, QObject& parent) {
  auto* const handler = new CommandHandler(&parent);
  handler->setProperty("command", QLatin1String(command));
  return handler;
}

TEST(PaletteModelTest, OffersWhatTheWindowCanShowAndFollowsTheStore) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId conversation = workbench.addConversation(project);
  await(workbench.application().conversations().renameConversation(conversation, "Cache headers"));
  PaletteModel palette(workbench.window(), nullptr);
  const QAbstractItemModelTester tester(&palette);
  QObject parts;
  handle("archive", parts);
  palette.open();
  ASSERT_TRUE(until([&] { return std::ranges::count(titles(palette), "Cache headers") == 1; }));

  EXPECT_THAT(titles(palette), Contains("New Conversation"));
  // Nobody does these, and nothing is shown to archive.
  for (const char* absent : {"Show Git Changes", "Unified or side by side", "Archive conversation"}) {
    EXPECT_THAT(titles(palette), Not(Contains(absent)));
  }

  await(workbench.application().conversations().renameConversation(conversation, "Cache of tiles"));
  EXPECT_TRUE(until([&] { return std::ranges::count(titles(palette), "Cache of tiles") == 1; }));
  EXPECT_THAT(titles(palette), Not(Contains("Cache headers")));

  palette.setQuery(QStringLiteral("tiles"));
  EXPECT_THAT(titles(palette), ElementsAre("Cache of tiles", "Search everything for “tiles”"));
  EXPECT_EQ(palette.currentName().toStdString(), "Cache of tiles, weather");
  palette.setQuery(QStringLiteral("no such thing"));
  EXPECT_THAT(titles(palette), IsEmpty());
  EXPECT_EQ(palette.current(), -1);
  EXPECT_THAT(palette.emptyWords().toStdString(), testing::HasSubstr("no such thing"));

  palette.setQuery(QStringLiteral("tiles"));
  palette.choose(0);
  EXPECT_TRUE(until([&] { return workbench.window().shownConversation() == conversation; }));
  palette.setQuery(QStringLiteral("archive conv"));
  EXPECT_EQ(titles(palette).front(), "Archive conversation");
}

TEST(PaletteModelTest, LeadsOnToASearchBehindWhatItFound) {
  Workbench workbench;
  workbench.addProject("weather");
  std::vector<std::string> searched;
  QObject::connect(&workbench.window(), &desktop::DesktopWindow::searchRequested,
                   [&](const QString& words) { searched.push_back(words.toStdString()); });
  PaletteModel palette(workbench.window(), nullptr);
  const QAbstractItemModelTester tester(&palette);
  palette.open();
  ASSERT_TRUE(until([&] { return palette.rowCount() > 0; }));
  palette.step(-1);
  EXPECT_EQ(palette.current(), palette.rowCount() - 1);
  EXPECT_THAT(titles(palette), Not(Contains(testing::HasSubstr("Search everything for"))));

  palette.setQuery(QStringLiteral("conversation"));
  ASSERT_GT(palette.rowCount(), 1);
  palette.step(-1);
  EXPECT_EQ(titles(palette).at(static_cast<std::size_t>(palette.current())), "Search everything for “conversation”");
  palette.take();
  EXPECT_TRUE(until([&] { return !searched.empty(); }));
  EXPECT_THAT(searched, ElementsAre("conversation"));
  palette.setQuery(QStringLiteral("conversatio"));
  EXPECT_EQ(palette.current(), 0);
}

TEST(PaletteModelTest, TakesWhatIsTypedBeforeEverythingWasRead) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId conversation = workbench.addConversation(project);
  await(workbench.application().conversations().renameConversation(conversation, "Cache of tiles"));
  PaletteModel palette(workbench.window(), nullptr);
  palette.open();
  ASSERT_TRUE(until([&] { return palette.rowCount() > 0; }));
  palette.setQuery(QStringLiteral("tiles"));
  EXPECT_EQ(palette.emptyWords(), QString()) << "nobody knows that yet";
  palette.take();
  EXPECT_TRUE(until([&] { return workbench.window().shownConversation() == conversation; }));
  EXPECT_EQ(palette.query(), QStringLiteral("tiles"));
}

TEST(PaletteModelTest, StepsRoundItsRows) {
  Workbench workbench;
  for (const char* name : {"one", "two", "three"}) workbench.addProject(name);
  PaletteModel palette(workbench.window(), nullptr);
  palette.step(1);
  EXPECT_EQ(palette.current(), -1);
  palette.open();
  ASSERT_TRUE(until([&] { return std::ranges::count(titles(palette), "New Conversation · two") == 1; }));
  palette.setQuery(QStringLiteral("conversation t"));
  const int count = palette.rowCount();
  ASSERT_GT(count, 1);
  palette.step(-1);
  EXPECT_EQ(palette.current(), count - 1);
  palette.step(1);
  EXPECT_EQ(palette.current(), 0);
}

TEST(PaletteModelTest, ShowsItsKeysForPeopleAndItsSizesAsTheyAreSet) {
  Workbench workbench;
  for (const char* name : {"one", "two", "three"}) workbench.addProject(name);
  QObject parts;
  handle("searchEverything", parts);
  PaletteModel palette(workbench.window(), nullptr);
  palette.open();
  ASSERT_TRUE(until([&] { return std::ranges::count(titles(palette), "New Conversation · two") == 1; }));
  EXPECT_THAT(texts(palette, PaletteRows::keysRole), Contains("Ctrl Shift F"));

  SettingsFile& settings = workbench.application().settings();
  settings.set(setting::kPaletteSectionItems, std::int64_t{1});
  Q_EMIT workbench.window().settingsChanged();
  EXPECT_EQ(palette.rowCount(), palette.sectionCount());
}

TEST(SearchModelTest, FindsInAllConversationsWhileOneTypesAndGoesThere) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId first = workbench.addConversation(project);
  const ConversationId second = workbench.addConversation(project);
  auto items = ConversationItemModelActor::make(workbench.application().modelContainer());
  await(items->appendUserPrompt(first, "Mend the flaky mailbox", AgentType::claude));
  await(items->appendUserPrompt(second, "Paint the mailbox <b>red</b>", AgentType::claude));
  SearchModel search(workbench.window(), nullptr);
  const QAbstractItemModelTester tester(&search);
  search.open();
  EXPECT_THAT(search.emptyWords().toStdString(), testing::HasSubstr("all conversations"));

  // The index takes in what was stored by and by.
  int answers = 0;
  QObject::connect(&search, &PaletteRows::currentChanged, [&] { ++answers; });
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (search.rowCount() != 2 && std::chrono::steady_clock::now() < deadline) {
    const int before = answers;
    search.setQuery(before % 2 == 0 ? QStringLiteral("mailb") : QStringLiteral("mailbo"));
    ASSERT_TRUE(until([&] { return answers > before; }));
  }
  EXPECT_EQ(search.rowCount(), 2);
  search.setQuery(QStringLiteral("mailbox pai"));
  EXPECT_TRUE(until([&] { return search.rowCount() == 1; }));
  EXPECT_THAT(titles(search), ElementsAre("Paint the mailbox <b>red</b>"));
  EXPECT_THAT(texts(search, PaletteRows::markupRole),
              ElementsAre("<b>Paint</b> the <b>mailbox</b> &lt;b&gt;red&lt;/b&gt;"));

  std::optional<ConversationItemId> wanted;
  QString words;
  QObject::connect(&workbench.window(), &desktop::DesktopWindow::itemRequested,
                   [&](ConversationItemId item, const QString& of) {
                     wanted = item;
                     words = of;
                   });
  search.choose(0);
  EXPECT_EQ(workbench.window().shownConversation(), second);
  const auto last = await(workbench.application().transcripts().last(second));
  EXPECT_EQ(wanted, last.value().id);
  EXPECT_EQ(words.toStdString(), "mailbox pai");

  // Rows of the shorter query are still there when Enter comes.
  ASSERT_EQ(search.rowCount(), 1);
  search.setQuery(QStringLiteral("mailbox mend"));
  search.take();
  EXPECT_EQ(workbench.window().shownConversation(), second);
  EXPECT_TRUE(until([&] { return workbench.window().shownConversation() == first; }));
  EXPECT_EQ(words.toStdString(), "mailbox mend");

  search.setQuery(QStringLiteral("mailbox paint"));
  search.take();
  search.setQuery(QStringLiteral("letterbox"));
  EXPECT_TRUE(until([&] { return search.emptyWords().contains(QLatin1String("letterbox")); }));
  search.take();
  EXPECT_EQ(workbench.window().shownConversation(), first);
}

TEST(SearchModelTest, GoesOnAfterAnErrorOfTheStore) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId conversation = workbench.addConversation(project);
  const auto& container = workbench.application().modelContainer();
  await(ConversationItemModelActor::make(container)->appendUserPrompt(conversation, "Mend the mailbox",
                                                                      AgentType::claude));
  SearchModel search(workbench.window(), nullptr);
  int answers = 0;
  QObject::connect(&search, &PaletteRows::currentChanged, [&] { ++answers; });
  QStringList failures;
  QObject::connect(&desktop::InterfaceLoop::instance(), &desktop::InterfaceLoop::failed, &search,
                   [&](const QString& words) { failures.append(words); });
  search.open();
  // The index takes in what was stored by and by.
  ASSERT_TRUE(until([&] {
    const int before = answers;
    search.setQuery(before % 2 == 0 ? QStringLiteral("mailb") : QStringLiteral("mailbo"));
    return until([&] { return answers > before; }) && search.rowCount() == 1;
  }));

  sqlite::Database store = container->connect();
  store.execute("ALTER TABLE conversation_item RENAME TO elsewhere");
  search.setQuery(QStringLiteral("mailbox"));
  search.take();
  ASSERT_TRUE(until([&] { return !failures.isEmpty(); }));
  EXPECT_EQ(workbench.window().shownConversation(), std::nullopt) << "nobody knows whether it is the one";
  EXPECT_EQ(search.rowCount(), 0) << "what was found for other words is not what was asked for";
  EXPECT_EQ(search.emptyWords(), QStringLiteral("The search failed."));
  search.take();
  EXPECT_EQ(workbench.window().shownConversation(), std::nullopt);

  store.execute("ALTER TABLE elsewhere RENAME TO conversation_item");
  search.setQuery(QStringLiteral("mailbox mend"));
  const int before = answers;
  EXPECT_TRUE(until([&] { return answers > before; }));
  EXPECT_THAT(texts(search, PaletteRows::markupRole), ElementsAre("<b>Mend</b> the <b>mailbox</b>"));
}

}  // namespace
}  // namespace ravant::test
