#include "app/known_settings.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "app/services.hpp"
#include "core/window/window_command.hpp"

namespace ravant {
namespace {

/// What windows write themselves. A value that is wrong keeps nobody from anything.
std::vector<SettingDescription> settingsOfWindows() {
  constexpr WrongValue kDefault = WrongValue::countsAsDefault;
  return {{.key = std::string(setting::kWindowZoom),
           .type = SettingType::integer,
           .defaultValue = std::int64_t{100},
           .description = "The size of everything in a window, in percent",
           .least = 80,
           .greatest = 200,
           .whenWrong = kDefault},
          {.key = std::string(setting::kWindowGeometry),
           .type = SettingType::text,
           .defaultValue = std::string(),
           .description = "Where the window was: X,Y WIDTHxHEIGHT, and \"maximized\" behind it where it was",
           .whenWrong = kDefault},
          {.key = std::string(setting::kSidebarShown),
           .type = SettingType::boolean,
           .defaultValue = true,
           .description = "Whether the sidebar is shown",
           .whenWrong = kDefault},
          {.key = std::string(setting::kSidebarWidth),
           .type = SettingType::integer,
           .defaultValue = std::int64_t{264},
           .description = "How wide the sidebar is",
           .least = 200,
           .greatest = 400,
           .whenWrong = kDefault},
          {.key = std::string(setting::kContentWidth),
           .type = SettingType::integer,
           .defaultValue = std::int64_t{320},
           .description = "How wide the column of lists is",
           .least = 240,
           .greatest = 480,
           .whenWrong = kDefault},
          {.key = std::string(setting::kNewConversationAgent),
           .type = SettingType::text,
           .defaultValue = std::string(),
           .description = "The agent that was chosen last for new conversations",
           .whenWrong = kDefault},
          {.key = std::string(setting::kNewConversationModel),
           .type = SettingType::text,
           .defaultValue = std::string(),
           .description = "The model that was chosen last for new conversations",
           .whenWrong = kDefault},
          {.key = std::string(setting::kNewConversationEffort),
           .type = SettingType::text,
           .defaultValue = std::string(),
           .description = "The effort that was chosen last for new conversations",
           .whenWrong = kDefault}};
}

}  // namespace

std::vector<SettingDescription> knownSettings() {
  std::vector<SettingDescription> settings = {
      {.key = std::string(setting::kShellStartSeconds),
       .type = SettingType::integer,
       .defaultValue = std::int64_t{30},
       .description = "How many seconds the login shell may take to read its start-up files",
       .least = 1,
       .greatest = 3600},
      {.key = std::string(setting::kHttpStallSeconds),
       .type = SettingType::integer,
       .defaultValue = std::int64_t{300},
       .description = "After how many seconds without a byte a request to a service fails",
       .least = 1,
       .greatest = 86400},
      {.key = std::string(setting::kClaudeAsRoot),
       .type = SettingType::boolean,
       .defaultValue = false,
       .description = "Whether Claude Code may run as root: it is told that this machine is a sandbox (IS_SANDBOX=1)"},
      {.key = std::string(setting::kKeyStore),
       .type = SettingType::choice,
       .defaultValue = std::string(setting::kSecretService),
       .description = "Where keys are kept: in the desktop's key store, or in a file that is not encrypted",
       .choices = {std::string(setting::kSecretService), std::string(setting::kFile)}},
      {.key = std::string(setting::kPaletteSectionItems),
       .type = SettingType::integer,
       .defaultValue = std::int64_t{8},
       .description = "How many entries each section of the palette shows",
       .least = 1,
       .greatest = 100},
      {.key = std::string(setting::kPaletteRecentItems),
       .type = SettingType::integer,
       .defaultValue = std::int64_t{5},
       .description = "How many of the entries used last the palette shows first",
       .least = 0,
       .greatest = 50},
      {.key = std::string(setting::kAppearance),
       .type = SettingType::choice,
       .defaultValue = std::string(setting::kSystem),
       .description = "The colours of windows; \"system\" follows the desktop",
       .choices = {std::string(setting::kSystem), std::string(setting::kLight), std::string(setting::kDark)}},
      {.key = std::string(setting::kDesktopNotifications),
       .type = SettingType::boolean,
       .defaultValue = true,
       .description = "Whether the desktop shows a notice when a conversation fails, finishes or asks"},
      {.key = std::string(setting::kBell),
       .type = SettingType::boolean,
       .defaultValue = false,
       .description = "Whether such a notice makes a sound"},
      {.key = std::string(setting::kEditor),
       .type = SettingType::text,
       .defaultValue = std::string(),
       .description = "The command that opens a file, with {file}, {line} and {column}; empty for the desktop's own"}};
  std::ranges::move(settingsOfWindows(), std::back_inserter(settings));
  for (const RemoteService service : kRemoteServices) {
    settings.push_back({.key = fmt::format("{}{}", setting::kEndpoints, rawValue(service)),
                        .type = SettingType::text,
                        .defaultValue = std::string(defaultBaseAddress(service)),
                        .description = fmt::format("The address that stands in for {}", displayName(service))});
  }
  for (const CommandDescription& command : commandDescriptions()) {
    settings.push_back({.key = fmt::format("{}.{}", setting::kKeybindings, command.name),
                        .type = SettingType::text,
                        .defaultValue = std::string(command.defaultKeys),
                        .description = fmt::format("Keys for \"{}\"; empty for none", command.title),
                        .whenWrong = WrongValue::countsAsDefault});
  }
  return settings;
}

}  // namespace ravant
