#include "desktop/theme/theme.hpp"

#include <gmock/gmock.h>

#include <QMetaProperty>
#include <algorithm>
#include <cmath>

namespace ravant::test {
namespace {

using desktop::Appearance;
using desktop::ColorScheme;
using desktop::Theme;

/// Source: WCAG 2.1, "relative luminance" and "contrast ratio".
double luminance(const QColor& color) {
  const auto linear = [](double part) {
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
  const auto [dark, light] = std::minmax({luminance(one), luminance(other)});
  return (light + 0.05) / (dark + 0.05);
}

class Contrast : public testing::TestWithParam<Appearance> {
 protected:
  void SetUp() override { theme.setAppearance(GetParam()); }
  QColor color(const char* name) const { return theme.property(name).value<QColor>(); }

  ColorScheme scheme;
  Theme theme{scheme};
};

TEST_P(Contrast, OfEveryTextIsEnoughOnEveryGroundItMayStandOn) {
  const auto inks = {"text",        "dim",      "faint",      "accent",     "good",        "attention", "bad",
                     "codeKeyword", "codeType", "codeString", "codeNumber", "codeComment", "codeCall"};
  const auto grounds = {"sidebar",      "window",          "raised",    "sunken",      "hover",        "selected",
                        "accentGround", "attentionGround", "badGround", "addedGround", "removedGround"};
  for (const char* ink : inks) {
    for (const char* ground : grounds) {
      EXPECT_GE(contrast(color(ink), color(ground)), 4.5) << ink << " on " << ground;
    }
  }
  EXPECT_GE(contrast(color("textOnAccent"), color("accent")), 4.5);
  for (const char* ink : {"text", "dim", "accent", "attention", "bad"}) {
    EXPECT_GE(contrast(color(ink), color("raisedSelected")), 4.5) << ink << " on the current row of a popup";
  }
  for (const char* ground : {"window", "raised", "sidebar", "sunken", "hover", "selected", "accentGround"}) {
    EXPECT_GE(contrast(color("strongLine"), color(ground)), 3.0) << "a control's border on " << ground;
    EXPECT_GE(contrast(color("accent"), color(ground)), 3.0) << "the focus ring on " << ground;
  }
}

INSTANTIATE_TEST_SUITE_P(Appearances, Contrast, testing::Values(Appearance::light, Appearance::dark),
                         [](const auto& tested) { return tested.param == Appearance::light ? "Light" : "Dark"; });

TEST(ThemeTest, ZoomScalesEverySizeWithinItsBounds) {
  ColorScheme scheme;
  Theme theme(scheme);
  theme.setZoom(200);
  EXPECT_EQ(theme.interfaceSize(), 26);
  EXPECT_EQ(theme.unit(), 8);
  EXPECT_EQ(theme.floatingRadius(), 24);
  theme.setZoom(1000);
  EXPECT_EQ(theme.zoom(), 200);
  theme.setZoom(10);
  EXPECT_EQ(theme.zoom(), 80);
  EXPECT_GE(theme.smallRowHeight(), 24);
}

TEST(ThemeTest, ZoomStepsAreThoseAtWhichSpacesGrowWithTexts) {
  ColorScheme scheme;
  Theme theme(scheme);
  std::vector<int> steps;
  for (int before = 0; before != theme.zoom();) {
    before = theme.zoom();
    theme.stepZoom(1);
    EXPECT_EQ(theme.unit() * 100, theme.zoom() * 4);
    steps.push_back(theme.zoom());
  }
  EXPECT_EQ(steps, std::vector({125, 150, 175, 200, 200}));
  // What the settings hold between two steps is left in both directions.
  theme.setZoom(110);
  theme.stepZoom(-1);
  EXPECT_EQ(theme.zoom(), 100);
  theme.setZoom(110);
  theme.stepZoom(1);
  EXPECT_EQ(theme.zoom(), 125);
  theme.setZoom(80);
  theme.stepZoom(-1);
  EXPECT_EQ(theme.zoom(), 80);
}

}  // namespace
}  // namespace ravant::test
