#include "app/window_settings.hpp"

#include <fmt/format.h>

#include "app/known_settings.hpp"
#include "platform/text/text.hpp"

namespace ravant {

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

CommandPaletteOptions paletteOptionsOf(const SettingsFile& settings, any_io_executor interface) {
  return {.interface = std::move(interface),
          .keybindings = keybindingsOf(settings),
          .sectionItems = static_cast<std::size_t>(settings.integer(setting::kPaletteSectionItems)),
          .recentItems = static_cast<std::size_t>(settings.integer(setting::kPaletteRecentItems))};
}

}  // namespace ravant
