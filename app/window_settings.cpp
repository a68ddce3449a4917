#include "app/window_settings.hpp"

#include <fmt/format.h>

#include <charconv>
#include <system_error>

#include "app/known_settings.hpp"
#include "platform/text/text.hpp"

namespace ravant {
namespace {

constexpr std::int32_t kFarthest = 100'000;
constexpr std::string_view kMaximized = " maximized";

/// Takes the number at the beginning of `rest` and the `end` behind it.
std::optional<std::int32_t> takeNumber(std::string_view& rest, std::string_view end) {
  std::int32_t number = 0;
  const auto [behind, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (error != std::errc() || number < -kFarthest || number > kFarthest) return std::nullopt;
  rest.remove_prefix(static_cast<std::size_t>(behind - rest.data()));
  if (!rest.starts_with(end)) return std::nullopt;
  rest.remove_prefix(end.size());
  return number;
}

}  // namespace

Keybindings keybindingsOf(const SettingsFile& settings) { return Keybindings(settings.members(setting::kKeybindings)); }

std::string checkedKeysSetting(std::string_view key, const std::string& text) {
  const bool isOfKeys =
      key.starts_with(setting::kKeybindings) && key.substr(setting::kKeybindings.size()).starts_with('.');
  if (!isOfKeys) return text;
  if (trimmed(text).empty()) return {};
  try {
    return KeySequence::parse(text).text();
  } catch (const KeySequenceError& error) {
    throw SettingsError(SettingsError::Case::wrongValue, fmt::format("\"{}\" takes keys: {}", key, error.what()));
  }
}

std::optional<WindowGeometry> WindowGeometry::parse(std::string_view text) {
  std::string_view rest = trimmed(text);
  const bool isMaximized = rest.ends_with(kMaximized);
  if (isMaximized) rest.remove_suffix(kMaximized.size());
  const auto x = takeNumber(rest, ",");
  const auto y = x ? takeNumber(rest, " ") : x;
  const auto width = y ? takeNumber(rest, "x") : y;
  const auto height = width ? takeNumber(rest, "") : width;
  if (!height || !rest.empty() || *width <= 0 || *height <= 0) return std::nullopt;
  return WindowGeometry{.x = *x, .y = *y, .width = *width, .height = *height, .isMaximized = isMaximized};
}

std::string WindowGeometry::text() const {
  return fmt::format("{},{} {}x{}{}", x, y, width, height, isMaximized ? kMaximized : "");
}

std::optional<WindowGeometry> windowGeometryOf(const SettingsFile& settings) {
  return WindowGeometry::parse(settings.text(setting::kWindowGeometry));
}

void keepSettings(const std::filesystem::path& file, const std::map<std::string, SettingValue>& values) {
  SettingsFile settings(file, knownSettings());
  for (const auto& [key, value] : values) settings.set(key, value);
}

CommandPaletteOptions paletteOptionsOf(const SettingsFile& settings, any_io_executor interface) {
  return {.interface = std::move(interface),
          .keybindings = keybindingsOf(settings),
          .sectionItems = static_cast<std::size_t>(settings.integer(setting::kPaletteSectionItems)),
          .recentItems = static_cast<std::size_t>(settings.integer(setting::kPaletteRecentItems))};
}

}  // namespace ravant
