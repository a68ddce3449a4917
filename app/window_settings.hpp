#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "core/window/keybindings.hpp"
#include "palette/command_palette_options.hpp"
#include "platform/settings/settings_file.hpp"

namespace ravant {

/// The bindings that the settings hold, as of their last load.
Keybindings keybindingsOf(const SettingsFile& settings);

/// What a setting of keys is given for a text that a person typed: its one form. Throws `SettingsError` for a text that
/// is no key sequence; the text itself where the setting is another one.
std::string checkedKeysSetting(std::string_view key, const std::string& text);

/// Where a window is on its desktop, in the desktop's own pixels; the corner can be left of or above its first one.
/// `parse` and `text` know one form: `-8,24 1440x900 maximized`, the last word only where it is so.
struct WindowGeometry {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
  bool isMaximized = false;  ///< the numbers are those of the window when it no longer is

  bool operator==(const WindowGeometry&) const = default;

  /// Nothing for a text that is none, or whose numbers no screen has.
  static std::optional<WindowGeometry> parse(std::string_view text);
  std::string text() const;
};

/// The one that the settings hold; nothing where they hold none.
std::optional<WindowGeometry> windowGeometryOf(const SettingsFile& settings);

/// Sets each of the known settings, by its key, in the file as it is now. Blocks. Throws `SettingsError`.
void keepSettings(const std::filesystem::path& file, const std::map<std::string, SettingValue>& values);

CommandPaletteOptions paletteOptionsOf(const SettingsFile& settings, any_io_executor interface);

}  // namespace ravant
