#include "desktop/theme/theme.hpp"

#include <QJSEngine>
#include <algorithm>
#include <array>
#include <cmath>

namespace ravant::desktop {
namespace {

/// Those at which the unit of all spaces is as exact as a pixel lets it be.
constexpr std::array kZoomSteps = {80, 100, 125, 150, 175, 200};

struct Shades {
  QRgb light;
  QRgb dark;

  QColor of(bool isDark) const { return QColor(isDark ? dark : light); }
};

constexpr Shades kText = {0xff1c2022, 0xffe4e7e9};
constexpr Shades kDim = {0xff575e62, 0xffa3acb2};
constexpr Shades kFaint = {0xff5e6569, 0xff929ca3};
constexpr Shades kAccent = {0xff0b6a68, 0xff63c5bd};
constexpr Shades kGood = {0xff1c6e3c, 0xff7bc98f};
constexpr Shades kAttention = {0xff8a5200, 0xffecb65c};
constexpr Shades kBad = {0xffad2a20, 0xfff5938a};
constexpr Shades kTextOnAccent = {0xffffffff, 0xff0d1b1b};
constexpr Shades kCodeKeyword = {0xff7636a3, 0xffc9a8f1};
constexpr Shades kCodeType = {0xff0f5f8c, 0xff7cc7e8};
constexpr Shades kCodeString = {0xff33661d, 0xffa5cf87};
constexpr Shades kCodeNumber = {0xff88460d, 0xffe6b077};
constexpr Shades kCodeComment = {0xff566065, 0xff9ba6ad};
constexpr Shades kCodeCall = {0xff6e5300, 0xffe5d08a};
constexpr Shades kSidebar = {0xfff1f2f0, 0xff15181b};
constexpr Shades kWindow = {0xfffcfcfb, 0xff1b1f22};
constexpr Shades kRaised = {0xffffffff, 0xff23282c};
constexpr Shades kSunken = {0xfff5f6f4, 0xff16191c};
constexpr Shades kHover = {0xffe7e9e6, 0xff252a2e};
constexpr Shades kSelected = {0xffdde5e3, 0xff2a3338};
constexpr Shades kRaisedSelected = {0xffdde5e3, 0xff344047};
constexpr Shades kAccentGround = {0xffe6f0ee, 0xff1f3232};
constexpr Shades kAttentionGround = {0xfffbf0dc, 0xff352b19};
constexpr Shades kBadGround = {0xfffbebe9, 0xff33221f};
constexpr Shades kAddedGround = {0xffe6f4e9, 0xff1a2e20};
constexpr Shades kAddedStrong = {0xffd3eed9, 0xff1f3f28};
constexpr Shades kRemovedGround = {0xfffceae8, 0xff352122};
constexpr Shades kRemovedStrong = {0xfffad9d5, 0xff4a2829};
constexpr Shades kLine = {0xffe1e3e0, 0xff2e3439};
constexpr Shades kStrongLine = {0xff7b827e, 0xff737d84};

constexpr int kMotionMilliseconds = 120;

Theme* theTheme = nullptr;

}  // namespace

Theme::Theme(ColorScheme& scheme) : scheme_(scheme) {
  theTheme = this;
  followScheme();
  connect(&scheme_, &ColorScheme::changed, this, &Theme::followScheme);
  connect(&scheme_, &ColorScheme::fontScaleChanged, this, &Theme::sizesChanged);
  connect(&scheme_, &ColorScheme::reducedMotionChanged, this, &Theme::motionChanged);
}

Theme::~Theme() { theTheme = nullptr; }

Theme* Theme::create(QQmlEngine*, QJSEngine*) {
  QJSEngine::setObjectOwnership(theTheme, QJSEngine::CppOwnership);
  return theTheme;
}

Theme& Theme::instance() {
  Q_ASSERT(theTheme);
  return *theTheme;
}

void Theme::setAppearance(Appearance appearance) {
  appearance_ = appearance;
  followScheme();
}

void Theme::followScheme() {
  const bool isDark = appearance_ == Appearance::dark || (appearance_ == Appearance::system && scheme_.prefersDark());
  if (std::exchange(isDark_, isDark) != isDark) Q_EMIT colorsChanged();
}

void Theme::stepZoom(int by) {
  const auto above = std::ranges::upper_bound(kZoomSteps, zoom_);
  const auto notBelow = std::ranges::lower_bound(kZoomSteps, zoom_);
  if (by > 0 && above != kZoomSteps.end()) setZoom(*above);
  if (by < 0 && notBelow != kZoomSteps.begin()) setZoom(*std::prev(notBelow));
}

void Theme::setZoom(int percent) {
  const int possible = std::clamp(percent, kLeastZoom, kGreatestZoom);
  if (std::exchange(zoom_, possible) != possible) Q_EMIT sizesChanged();
}

int Theme::motion() const { return scheme_.reducesMotion() ? 0 : kMotionMilliseconds; }

int Theme::scaled(int length) const {
  return std::max(1, static_cast<int>(std::lround(length * zoom_ / 100.0 * scheme_.fontScale())));
}

QColor Theme::text() const { return kText.of(isDark_); }
QColor Theme::dim() const { return kDim.of(isDark_); }
QColor Theme::faint() const { return kFaint.of(isDark_); }
QColor Theme::accent() const { return kAccent.of(isDark_); }
QColor Theme::good() const { return kGood.of(isDark_); }
QColor Theme::attention() const { return kAttention.of(isDark_); }
QColor Theme::bad() const { return kBad.of(isDark_); }
QColor Theme::textOnAccent() const { return kTextOnAccent.of(isDark_); }
QColor Theme::codeKeyword() const { return kCodeKeyword.of(isDark_); }
QColor Theme::codeType() const { return kCodeType.of(isDark_); }
QColor Theme::codeString() const { return kCodeString.of(isDark_); }
QColor Theme::codeNumber() const { return kCodeNumber.of(isDark_); }
QColor Theme::codeComment() const { return kCodeComment.of(isDark_); }
QColor Theme::codeCall() const { return kCodeCall.of(isDark_); }
QColor Theme::sidebar() const { return kSidebar.of(isDark_); }
QColor Theme::window() const { return kWindow.of(isDark_); }
QColor Theme::raised() const { return kRaised.of(isDark_); }
QColor Theme::sunken() const { return kSunken.of(isDark_); }
QColor Theme::hover() const { return kHover.of(isDark_); }
QColor Theme::selected() const { return kSelected.of(isDark_); }
QColor Theme::raisedSelected() const { return kRaisedSelected.of(isDark_); }
QColor Theme::accentGround() const { return kAccentGround.of(isDark_); }
QColor Theme::attentionGround() const { return kAttentionGround.of(isDark_); }
QColor Theme::badGround() const { return kBadGround.of(isDark_); }
QColor Theme::addedGround() const { return kAddedGround.of(isDark_); }
QColor Theme::addedStrong() const { return kAddedStrong.of(isDark_); }
QColor Theme::removedGround() const { return kRemovedGround.of(isDark_); }
QColor Theme::removedStrong() const { return kRemovedStrong.of(isDark_); }
QColor Theme::line() const { return kLine.of(isDark_); }
QColor Theme::strongLine() const { return kStrongLine.of(isDark_); }

}  // namespace ravant::desktop
