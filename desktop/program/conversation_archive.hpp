#pragma once

#include <QString>
#include <functional>
#include <optional>

#include "core/conversation.hpp"

namespace ravant::desktop {

/// Puts a conversation aside. Where it is shown, the nearest of its project is shown instead, else the page of a new
/// one. A notice takes it back, and shows it again unless the user has gone elsewhere. On the interface thread of a
/// window.
void archiveConversation(ConversationId conversation);

/// Shows another conversation of the project instead of one that goes, or the page of a new one where there is none,
/// and never goes back to it. Returns how to show it again: nothing where it was not shown.
std::function<void()> leaveConversation(ConversationId conversation, ProjectId project,
                                        std::optional<ConversationId> next);

}  // namespace ravant::desktop
