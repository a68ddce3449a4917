#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace ravant {

/// What a user can have done in a window by a key, a menu or the palette.
enum class WindowCommand : std::uint8_t {
  newConversation,
  allConversations,
  addNewProject,
  focusInput,
  goBack,
  goForward,
  settings,
  toggleGitChanges,
  showPalette,
  newConversationInOtherProject,
  nextNeedingMe,
  stopRun,
  sendNow,
  chooseModel,
  chooseAgent,
  chooseEffort,
  scanAgents,
  attachFiles,
  find,
  findNext,
  findPrevious,
  searchEverything,
  recentConversations,
  previousInSidebar,
  nextInSidebar,
  previousPrompt,
  nextPrompt,
  jumpToEnd,
  nextRegion,
  previousRegion,
  toggleSidebar,
  toggleDiffLayout,
  copyMessage,
  goOn,
  rename,
  archive,
  archivedConversations,
  deleteConversation,
  zoomIn,
  zoomOut,
  resetZoom,
  quit,
};

/// What must be there for a command to do something, as far as the selection tells; a face knows the rest.
enum class CommandCondition : std::uint8_t { none, earlierSelection, laterSelection, conversation };

enum class CommandListing : std::uint8_t { keysOnly, palette };

enum class GitChangesPanel : std::uint8_t { hidden, shown };

struct CommandDescription {
  WindowCommand command;
  std::string_view name;  ///< in settings, and behind "command." in the palette
  std::string_view title;
  std::string_view symbol;
  std::string_view defaultKeys;  ///< empty where there are none
  CommandCondition condition = CommandCondition::none;
  CommandListing listing = CommandListing::keysOnly;
};

/// Every command, those of the palette first and in its order.
std::span<const CommandDescription> commandDescriptions();

const CommandDescription& description(WindowCommand command);
std::optional<WindowCommand> commandNamed(std::string_view name);

/// What the command is called while the git panel is so.
std::string_view commandTitle(WindowCommand command, GitChangesPanel panel);

}  // namespace ravant
