#include "desktop/controls/folder_entries.hpp"

#include <gmock/gmock.h>

#include <QAbstractItemModelTester>
#include <QDir>
#include <filesystem>
#include <fstream>

#include "tests/desktop/support/workbench.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

using desktop::FolderEntries;
using testing::ElementsAre;
using testing::IsEmpty;

class FolderEntriesTest : public testing::Test {
 protected:
  FolderEntriesTest() {
    for (const char* name : {"alpha", "Weather", ".hidden", "Weather/docs"})
      std::filesystem::create_directories(at(name));
    for (const char* name : {"notes.txt", "run"}) std::ofstream(at(name)) << "x";
    std::filesystem::permissions(at("run"), std::filesystem::perms::owner_all);
    QObject::connect(&entries, &FolderEntries::chosen, [this](const QList<QUrl>& files) {
      for (const QUrl& file : files) chosen.push_back(file.toLocalFile().toStdString());
    });
  }

  std::filesystem::path at(const std::string& name) const { return folder.path() / name; }
  void begin(FolderEntries::Wanted wanted) {
    entries.setProperty("wanted", wanted);
    entries.begin(QUrl::fromLocalFile(QString::fromStdString(folder.path())));
    ASSERT_TRUE(until([&] { return entries.rowCount() > 0; }));
  }
  void type(const std::string& name) { entries.setPath(QString::fromStdString(at(name))); }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (int row = 0; row < entries.rowCount(); ++row) {
      found.push_back(entries.data(entries.index(row), FolderEntries::nameRole).toString().toStdString());
    }
    return found;
  }

  TemporaryFolder folder;
  FolderEntries entries;
  const QAbstractItemModelTester tester{&entries};
  std::vector<std::string> chosen;
};

TEST_F(FolderEntriesTest, WalksToAFolderByTypingAndChoosesIt) {
  begin(FolderEntries::Folders);
  EXPECT_THAT(names(), ElementsAre("This folder: " + folder.path().filename().string(), "alpha", "Weather"));
  type("wea");
  EXPECT_THAT(names(), ElementsAre("Weather"));
  type("ea");
  EXPECT_THAT(names(), ElementsAre("Weather")) << "a name that has it inside";
  type(".h");
  EXPECT_THAT(names(), ElementsAre(".hidden"));

  // The second Enter comes while the folder is still being read.
  type("wea");
  entries.take();
  EXPECT_EQ(entries.path().toStdString(), at("Weather/").string());
  EXPECT_THAT(names(), IsEmpty());
  entries.take();
  ASSERT_TRUE(until([&] { return !chosen.empty(); }));
  EXPECT_THAT(chosen, ElementsAre(at("Weather").string()));

  entries.goUp();
  ASSERT_TRUE(until([&] { return entries.rowCount() > 0; }));
  EXPECT_EQ(entries.currentName().toStdString(), "Weather");
  entries.choose();
  EXPECT_EQ(chosen.size(), 2U);
}

TEST_F(FolderEntriesTest, SaysWhyThereIsNothing) {
  begin(FolderEntries::Folders);
  type("zebra");
  EXPECT_THAT(entries.emptyWords().toStdString(), testing::HasSubstr("zebra"));
  EXPECT_EQ(entries.current(), -1);
  entries.take();
  type("zebra/");
  ASSERT_TRUE(until([&] { return entries.emptyWords().startsWith(QLatin1String("There is no folder")); }));
  type("notes.txt/");
  ASSERT_TRUE(until([&] { return entries.emptyWords().endsWith(QLatin1String("is not a folder.")); }));
  std::filesystem::create_directory(at("zebra"));
  type("zebra/");
  EXPECT_TRUE(until([&] { return entries.rowCount() == 1; }));
  EXPECT_THAT(chosen, IsEmpty());
  entries.setPath(entries.path() + QString::fromStdString(at("notes.txt/").string()));
  EXPECT_TRUE(until([&] { return entries.emptyWords().endsWith(QLatin1String("is not a folder.")); }))
      << "a path that is pasted behind another one";
}

TEST_F(FolderEntriesTest, TakesNoNameForMoreThanAName) {
  std::filesystem::create_directories(at("~/inside"));
  std::filesystem::create_directory(at("new\nline\u202E"));
  begin(FolderEntries::Folders);
  EXPECT_THAT(names(), testing::Contains("new␊line\\u{202E}"));
  type("~");
  EXPECT_EQ(entries.currentName(), QStringLiteral("~"));
  entries.take();
  ASSERT_TRUE(until([&] { return entries.rowCount() > 0; }));
  EXPECT_THAT(names(), ElementsAre("This folder: ~", "inside"));
  type("~/ins");
  EXPECT_THAT(names(), ElementsAre("inside"));
  type("~/");
  entries.choose();
  EXPECT_THAT(chosen, ElementsAre(at("~").string()));

  entries.goUp();
  type("~/");
  ASSERT_TRUE(until([&] { return entries.rowCount() > 0; }));
  EXPECT_THAT(names().front(), testing::HasSubstr(QDir::home().dirName().toStdString())) << "typed, it is home";
}

TEST_F(FolderEntriesTest, BeginsAnewWithWhatIsThereAndChoosesNothingByItself) {
  begin(FolderEntries::Folders);
  entries.setPath(QString::fromStdString(at("Weather/")));
  entries.take();
  std::filesystem::create_directory(at("new"));
  entries.begin(QUrl::fromLocalFile(QString::fromStdString(folder.path())));
  EXPECT_THAT(names(), IsEmpty());
  ASSERT_TRUE(until([&] { return entries.rowCount() > 0; }));
  EXPECT_THAT(names(), testing::Contains("new"));

  entries.take();
  std::filesystem::remove(at("new"));
  chosen.clear();
  entries.begin(QUrl::fromLocalFile(QString::fromStdString(folder.path())));
  ASSERT_TRUE(until([&] { return entries.rowCount() > 0; }));
  EXPECT_THAT(names(), testing::Not(testing::Contains("new")));
  EXPECT_THAT(chosen, IsEmpty());
}

TEST_F(FolderEntriesTest, ChoosesSeveralFilesOrAProgram) {
  begin(FolderEntries::Files);
  EXPECT_THAT(names(), ElementsAre("alpha", "Weather", "notes.txt", "run"));
  EXPECT_FALSE(entries.canChoose());
  entries.setCurrent(2);
  entries.choose();
  EXPECT_EQ(entries.pickedCount(), 1);
  entries.step(1);
  entries.take();
  EXPECT_THAT(chosen, ElementsAre(at("notes.txt").string(), at("run").string()));

  entries.setPath({});
  begin(FolderEntries::Programs);
  ASSERT_TRUE(until([&] { return entries.rowCount() == 3; }));
  EXPECT_THAT(names(), ElementsAre("alpha", "Weather", "run"));
}

}  // namespace
}  // namespace ravant::test
