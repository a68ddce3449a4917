#pragma once

#include <string_view>
#include <vector>

#include "platform/settings/settings_file.hpp"

namespace ravant {

namespace setting {
inline constexpr std::string_view kShellStartSeconds = "shell.startSeconds";
inline constexpr std::string_view kHttpStallSeconds = "http.stallSeconds";
/// Whether Claude Code is told that this machine is a sandbox, without which it does not run as root.
inline constexpr std::string_view kClaudeAsRoot = "claude.asRoot";
/// Where secrets are kept; the choices are the two below.
inline constexpr std::string_view kKeyStore = "keyStore";
inline constexpr std::string_view kSecretService = "secretService";
inline constexpr std::string_view kFile = "file";
/// The greatest number of entries in a section of the palette, and in the one of what was used last.
inline constexpr std::string_view kPaletteSectionItems = "palette.sectionItems";
inline constexpr std::string_view kPaletteRecentItems = "palette.recentItems";
/// The colours of a window; the choices are the three below.
inline constexpr std::string_view kAppearance = "appearance";
inline constexpr std::string_view kSystem = "system";
inline constexpr std::string_view kLight = "light";
inline constexpr std::string_view kDark = "dark";
inline constexpr std::string_view kWindowZoom = "window.zoom";  ///< in percent
/// What a window keeps of itself: see `WindowGeometry`, and the widths of its columns in pixels without zoom.
inline constexpr std::string_view kWindowGeometry = "window.geometry";
inline constexpr std::string_view kSidebarWidth = "window.sidebarWidth";
inline constexpr std::string_view kContentWidth = "window.contentWidth";
inline constexpr std::string_view kSidebarShown = "window.sidebar";
/// What was chosen last in a window for new conversations: the raw value of an agent type, a slug, an effort.
inline constexpr std::string_view kNewConversationAgent = "newConversation.agent";
inline constexpr std::string_view kNewConversationModel = "newConversation.model";
inline constexpr std::string_view kNewConversationEffort = "newConversation.effort";
inline constexpr std::string_view kDesktopNotifications = "notifications.desktop";
inline constexpr std::string_view kBell = "notifications.bell";
/// The command line of an editor with `{file}`, `{line}` and `{column}` in it; empty for what the desktop opens files
/// with.
inline constexpr std::string_view kEditor = "editor";
/// The object of keys by names of commands.
inline constexpr std::string_view kKeybindings = "keybindings";
/// Before the name of a service.
inline constexpr std::string_view kEndpoints = "endpoints.";
}  // namespace setting

/// Every setting that this program knows.
std::vector<SettingDescription> knownSettings();

}  // namespace ravant
