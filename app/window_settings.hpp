#pragma once

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

CommandPaletteOptions paletteOptionsOf(const SettingsFile& settings, any_io_executor interface);

}  // namespace ravant
