#pragma once

#include "app/application.hpp"

namespace ravant::cli {

/// Somebody was shown everything unread of the conversation up to the item. That this cannot be stored is only logged.
awaitable<void> markSeen(Application& application, ConversationId conversation, ConversationItemId upTo);

}  // namespace ravant::cli
