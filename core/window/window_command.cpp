#include "core/window/window_command.hpp"

#include <algorithm>
#include <array>

namespace ravant {
namespace {

using enum WindowCommand;
using enum CommandCondition;

constexpr std::string_view kBubbles = "bubble.left.and.bubble.right";

constexpr std::array kDescriptions = {
    CommandDescription{newConversation, "newConversation", "New Conversation", kBubbles, "Ctrl+N", none,
                       CommandListing::palette},
    CommandDescription{allConversations, "allConversations", "All conversations", kBubbles, "Ctrl+Shift+L", none,
                       CommandListing::palette},
    CommandDescription{addNewProject, "addNewProject", "Add New Project", "folder.badge.plus", "Ctrl+O", none,
                       CommandListing::palette},
    CommandDescription{focusInput, "focusInput", "Go to the prompt", "text.cursor", "Ctrl+L", none,
                       CommandListing::palette},
    CommandDescription{goBack, "goBack", "Go Back", "chevron.backward", "Alt+Left", earlierSelection,
                       CommandListing::palette},
    CommandDescription{goForward, "goForward", "Go Forward", "chevron.forward", "Alt+Right", laterSelection,
                       CommandListing::palette},
    CommandDescription{settings, "settings", "Settings", "gearshape", "Ctrl+,", none, CommandListing::palette},
    CommandDescription{toggleGitChanges, "toggleGitChanges", "Show Git Changes", "arrow.triangle.branch", "Ctrl+G",
                       none, CommandListing::palette},
    CommandDescription{showPalette, "showPalette", "Go to or run", "magnifyingglass", "Ctrl+K"},
    CommandDescription{newConversationInOtherProject, "newConversationInOtherProject",
                       "New conversation in another project", kBubbles, "Ctrl+Shift+N", none, CommandListing::palette},
    CommandDescription{nextNeedingMe, "nextNeedingMe", "Next that needs you", "exclamationmark.bubble", "Ctrl+J", none,
                       CommandListing::palette},
    CommandDescription{stopRun, "stopRun", "Stop the run", "stop", "Ctrl+.", conversation, CommandListing::palette},
    CommandDescription{sendNow, "sendNow", "Send now, before what waits", "paperplane", "Ctrl+Enter"},
    CommandDescription{chooseModel, "chooseModel", "Choose model", "cpu", "Ctrl+M", none, CommandListing::palette},
    CommandDescription{chooseAgent, "chooseAgent", "Choose agent", "person", "Ctrl+Shift+M", none,
                       CommandListing::palette},
    CommandDescription{chooseEffort, "chooseEffort", "Choose effort", "gauge", "Ctrl+E", none, CommandListing::palette},
    CommandDescription{scanAgents, "scanAgents", "Look for coding agents", "magnifyingglass", "", none,
                       CommandListing::palette},
    CommandDescription{attachFiles, "attachFiles", "Attach files", "paperclip", "", none, CommandListing::palette},
    CommandDescription{find, "find", "Find in conversation", "magnifyingglass", "Ctrl+F", conversation,
                       CommandListing::palette},
    CommandDescription{findNext, "findNext", "Find next", "chevron.down", "F3", conversation},
    CommandDescription{findPrevious, "findPrevious", "Find previous", "chevron.up", "Shift+F3", conversation},
    CommandDescription{searchEverything, "searchEverything", "Search everything", "magnifyingglass", "Ctrl+Shift+F",
                       none, CommandListing::palette},
    CommandDescription{recentConversations, "recentConversations", "Recent conversations", "clock", "Ctrl+Tab"},
    CommandDescription{previousInSidebar, "previousInSidebar", "Previous in sidebar", "arrow.up", "Alt+Up"},
    CommandDescription{nextInSidebar, "nextInSidebar", "Next in sidebar", "arrow.down", "Alt+Down"},
    CommandDescription{previousPrompt, "previousPrompt", "Previous prompt", "arrow.up.to.line", "Ctrl+Up",
                       conversation},
    CommandDescription{nextPrompt, "nextPrompt", "Next prompt", "arrow.down.to.line", "Ctrl+Down", conversation},
    CommandDescription{jumpToEnd, "jumpToEnd", "Go to the end", "arrow.down", "", conversation,
                       CommandListing::palette},
    CommandDescription{nextRegion, "nextRegion", "Next region", "arrow.right.square", "F6"},
    CommandDescription{previousRegion, "previousRegion", "Previous region", "arrow.left.square", "Shift+F6"},
    CommandDescription{toggleSidebar, "toggleSidebar", "Show or hide sidebar", "sidebar.left", "Ctrl+B", none,
                       CommandListing::palette},
    CommandDescription{toggleDiffLayout, "toggleDiffLayout", "Unified or side by side", "rectangle.split.2x1", "Ctrl+D",
                       none, CommandListing::palette},
    CommandDescription{copyMessage, "copyMessage", "Copy message", "doc.on.doc", "Ctrl+Shift+C", conversation},
    CommandDescription{goOn, "goOn", "Try again or continue", "arrow.clockwise", "", conversation,
                       CommandListing::palette},
    CommandDescription{rename, "rename", "Rename", "pencil", "F2", none, CommandListing::palette},
    CommandDescription{archive, "archive", "Archive conversation", "archivebox", "Ctrl+Shift+A", conversation,
                       CommandListing::palette},
    CommandDescription{archivedConversations, "archivedConversations", "Show or hide archived conversations",
                       "archivebox", "", none, CommandListing::palette},
    CommandDescription{deleteConversation, "deleteConversation", "Delete conversation", "trash", "", none,
                       CommandListing::palette},
    CommandDescription{zoomIn, "zoomIn", "Zoom in", "plus.magnifyingglass", "Ctrl++", none, CommandListing::palette},
    CommandDescription{zoomOut, "zoomOut", "Zoom out", "minus.magnifyingglass", "Ctrl+-", none,
                       CommandListing::palette},
    CommandDescription{resetZoom, "resetZoom", "Actual size", "1.magnifyingglass", "Ctrl+0", none,
                       CommandListing::palette},
    CommandDescription{quit, "quit", "Quit", "power", "Ctrl+Q", none, CommandListing::palette},
};

static_assert(std::ranges::all_of(kDescriptions, [](const CommandDescription& entry) {
  return &entry == &kDescriptions.at(static_cast<std::size_t>(entry.command));
}));

}  // namespace

std::span<const CommandDescription> commandDescriptions() { return kDescriptions; }

const CommandDescription& description(WindowCommand command) {
  return kDescriptions.at(static_cast<std::size_t>(command));
}

std::optional<WindowCommand> commandNamed(std::string_view name) {
  const auto* found = std::ranges::find(kDescriptions, name, &CommandDescription::name);
  return found == kDescriptions.end() ? std::nullopt : std::optional(found->command);
}

std::string_view commandTitle(WindowCommand command, GitChangesPanel panel) {
  if (command == toggleGitChanges && panel == GitChangesPanel::shown) return "Hide Git Changes";
  return description(command).title;
}

}  // namespace ravant
