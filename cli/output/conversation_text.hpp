#pragma once

#include <string>

#include "core/store/conversation_model_actor.hpp"

namespace ravant::cli {

/// What stands behind the title where there is something to look at: " (failed)", " (3 unread)".
std::string stateMark(const ConversationSummary& summary);

/// The start of an id that people read and type.
std::string shortId(const ConversationId& id);

}  // namespace ravant::cli
