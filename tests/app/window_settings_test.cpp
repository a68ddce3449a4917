#include "app/window_settings.hpp"

#include <gtest/gtest.h>

#include "app/known_settings.hpp"
#include "tests/support/temporary_folder.hpp"

namespace ravant::test {
namespace {

TEST(WindowGeometry, hasOneForm) {
  const WindowGeometry window{.x = -8, .y = 24, .width = 1440, .height = 900};
  EXPECT_EQ(window.text(), "-8,24 1440x900");
  EXPECT_EQ(WindowGeometry::parse(window.text()), window);
  const WindowGeometry maximized{.x = 0, .y = 0, .width = 720, .height = 480, .isMaximized = true};
  EXPECT_EQ(maximized.text(), "0,0 720x480 maximized");
  EXPECT_EQ(WindowGeometry::parse(maximized.text()), maximized);

  for (const char* other :
       {"", "maximized", "0,0", "0,0 720x", "0,0 720x480x", "0,0 0x480", "0,0 720x-480", "0,0 99999999999x480",
        "0,0 720x1000000", "1.5,0 720x480", "0,0 720x480 minimized", "0,0  720x480", "+1,0 720x480", "0x0 720,480"}) {
    EXPECT_EQ(WindowGeometry::parse(other), std::nullopt) << other;
  }
}

TEST(WindowSettings, countAsTheDefaultsWhereTheyAreWrong) {
  const TemporaryFolder folder;
  const auto path = folder / "settings.json";
  SettingsFile settings(path, knownSettings());
  for (const char* window : {R"({})", R"({"window": 5})", R"({"window": {"zoom": 79, "sidebarWidth": 401,
         "contentWidth": "wide", "sidebar": 0, "geometry": "here"}})",
                             R"({"window": {"zoom": null, "sidebarWidth": null, "contentWidth": null, "sidebar": null,
         "geometry": null}})"}) {
    folder.write("settings.json", window);
    settings.load();
    EXPECT_EQ(settings.integer(setting::kWindowZoom), 100) << window;
    EXPECT_EQ(settings.integer(setting::kSidebarWidth), 264) << window;
    EXPECT_EQ(settings.integer(setting::kContentWidth), 320) << window;
    EXPECT_TRUE(settings.boolean(setting::kSidebarShown)) << window;
    EXPECT_EQ(windowGeometryOf(settings), std::nullopt) << window;
  }
  settings.set(setting::kWindowGeometry, "1,2 3x4");
  EXPECT_EQ(windowGeometryOf(settings), WindowGeometry::parse("1,2 3x4"));
  EXPECT_THROW(settings.set(setting::kWindowZoom, std::int64_t{201}), SettingsError);

  folder.write("settings.json", R"({"appearance": "blue"})");
  EXPECT_THROW(settings.load(), SettingsError);
}

}  // namespace
}  // namespace ravant::test
