#include "desktop/window/window_placement.hpp"

#include <gmock/gmock.h>

#include <QTest>
#include <QWindow>

#include "app/known_settings.hpp"
#include "desktop/window/region_ring.hpp"
#include "desktop/window/settings_follower.hpp"
#include "desktop/window/window_title.hpp"
#include "tests/desktop/support/workbench.hpp"

namespace ravant::test {
namespace {

using desktop::ColorScheme;
using desktop::placedOn;
using desktop::SettingsFollower;
using desktop::Theme;
using desktop::WindowPlacement;
using desktop::WindowTitle;

TEST(WindowPlacementTest, PutsAWindowWhereAllOfItCanBeSeen) {
  const QRect left(0, 0, 1920, 1080);
  const QRect right(1920, 40, 1280, 984);
  const QList<QRect> screens{left, right};
  const QRect fits(2000, 100, 1000, 800);
  EXPECT_EQ(placedOn(screens, fits), fits);
  EXPECT_EQ(placedOn(screens, QRect(2700, 500, 1000, 800)), QRect(2200, 224, 1000, 800));
  EXPECT_EQ(placedOn(screens, QRect(-300, -20, 1000, 800)), QRect(0, 0, 1000, 800));
  // Its screen is gone, or is smaller than it was.
  EXPECT_EQ(placedOn({left}, QRect(4000, 100, 1000, 800)), QRect(920, 100, 1000, 800));
  EXPECT_EQ(placedOn({right}, QRect(0, 0, 2560, 1440)), right);
}

TEST(WindowPlacementTest, KeepsWhatChangedAndNothingElse) {
  Workbench workbench;
  ColorScheme scheme;
  Theme theme(scheme);
  const std::filesystem::path file = workbench.application().settings().path();
  const auto kept = [&] {
    SettingsFile settings(file, knownSettings());
    settings.load();
    return settings;
  };
  QWindow window;
  WindowPlacement placement(theme);
  placement.follow(window);
  placement.setSidebarWidth(1000);
  placement.setSidebarShown(false);
  theme.setZoom(150);
  EXPECT_EQ(placement.sidebarWidth(), 400);

  EXPECT_TRUE(until([&] { return kept().integer(setting::kWindowZoom) == 150; }));
  EXPECT_EQ(kept().integer(setting::kSidebarWidth), 400);
  EXPECT_FALSE(kept().boolean(setting::kSidebarShown));
  EXPECT_EQ(kept().members("window").size(), 3U);

  // The end does not wait until it is time to write.
  placement.setSidebarWidth(300);
  workbench.window().end()->stopAndQuit();
  EXPECT_TRUE(until([&] { return kept().integer(setting::kSidebarWidth) == 300; }, std::chrono::milliseconds(900)));
}

TEST(WindowPlacementTest, WritesNoZoomThatCameFromTheFile) {
  Workbench workbench;
  ColorScheme scheme;
  Theme theme(scheme);
  const SettingsFollower follower(workbench.window(), theme);
  QWindow window;
  WindowPlacement placement(theme);
  placement.follow(window);
  workbench.folder().write("settings.json", R"({"window":{"zoom":150}})");
  ASSERT_TRUE(until([&] { return theme.zoom() == 150; }));
  workbench.folder().write("settings.json", R"({"window":{"zoom":120}})");
  placement.setSidebarWidth(300);
  workbench.window().end()->stopAndQuit();
  SettingsFile settings(workbench.application().settings().path(), knownSettings());
  const auto read = [&](std::string_view key) {
    settings.load();
    return settings.integer(key);
  };
  ASSERT_TRUE(until([&] { return read(setting::kSidebarWidth) == 300; }));
  EXPECT_FALSE(until([&] { return read(setting::kWindowZoom) != 120; }, std::chrono::milliseconds(300)));
}

TEST(WindowPlacementTest, TriesAgainWhatCouldNotBeWritten) {
  Workbench workbench;
  ColorScheme scheme;
  Theme theme(scheme);
  const std::filesystem::path file = workbench.application().settings().path();
  QWindow window;
  WindowPlacement placement(theme);
  placement.follow(window);
  workbench.folder().write("settings.json", R"({"appearance":)");
  placement.setSidebarWidth(300);
  workbench.settle();
  QTest::qWait(1200);
  workbench.settle();
  workbench.folder().write("settings.json", "{}");
  workbench.window().end()->stopAndQuit();
  EXPECT_TRUE(until([&] {
    SettingsFile settings(file, knownSettings());
    settings.load();
    return settings.integer(setting::kSidebarWidth) == 300;
  }));
}

TEST(SettingsFollowerTest, AppliesWhatIsWrittenAndTellsWhatIsWrong) {
  Workbench workbench;
  ColorScheme scheme;
  Theme theme(scheme);
  const SettingsFollower follower(workbench.window(), theme);
  const desktop::DesktopWindow& window = workbench.window();
  const auto notices = [&] {
    std::string words;
    const auto* const model = workbench.window().notices();
    for (int row = 0; row < model->rowCount(); ++row) {
      words += model->data(model->index(row), desktop::Notices::textRole).toString().toStdString() + "\n";
    }
    return words;
  };
  EXPECT_FALSE(theme.isDark());
  workbench.folder().write(
      "settings.json", R"({"appearance":"dark","window":{"zoom":120},"keybindings":{"find":"Ctrl+Alt+F","no":"x"}})");
  EXPECT_TRUE(until([&] { return theme.isDark(); }));
  EXPECT_EQ(theme.zoom(), 120);
  EXPECT_EQ(window.keys(QStringLiteral("find"), 0), QStringLiteral("Ctrl Alt F"));
  EXPECT_THAT(notices(), testing::HasSubstr("settings.json, line 1"));
  workbench.window().notices()->settleAll();
  workbench.folder().write("settings.json", R"({"window":{"zoom":130},"keybindings":{"find":"Ctrl+Alt+F","no":"x"}})");
  EXPECT_TRUE(until([&] { return theme.zoom() == 130; }));
  EXPECT_EQ(notices(), "") << "what was dismissed does not come back because something else is written";

  workbench.folder().write("settings.json", R"({"appearance":)");
  EXPECT_TRUE(until([&] { return notices().contains("JSON"); }));
  EXPECT_EQ(workbench.window().notices()->rowCount(), 1) << "what was told of the file before is not shown any more";
  EXPECT_FALSE(theme.isDark());
  workbench.folder().write("settings.json", R"({"appearance":"dark"})");
  EXPECT_TRUE(until([&] { return theme.isDark(); }));
  EXPECT_EQ(notices(), "");
}

TEST(WindowTitleTest, IsThatOfTheShownConversation) {
  Workbench workbench;
  const Project project = workbench.addProject("weather");
  const ConversationId conversation = workbench.addConversation(project);
  WindowTitle title(workbench.window(), nullptr);
  EXPECT_EQ(title.text(), QStringLiteral("Ravant"));
  workbench.window().openConversation(desktop::textOf(conversation), desktop::textOf(project.id));
  await(workbench.application().conversations().renameConversation(conversation, "Mend it"));
  EXPECT_TRUE(until([&] { return title.text() == QStringLiteral("Mend it — Ravant"); }));
  workbench.window().startNewConversation(desktop::textOf(project.id));
  EXPECT_TRUE(until([&] { return title.text() == QStringLiteral("Ravant"); }));
}

}  // namespace
}  // namespace ravant::test
