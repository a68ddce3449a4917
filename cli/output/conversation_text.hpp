#pragma once

#include <string>

#include "core/store/conversation_model_actor.hpp"

namespace ravant::cli {

/// The conversation's title, or the first line of its first prompt.
std::string titleOf(const ConversationSummary& summary);

/// The start of an id that people read and type.
std::string shortId(const ConversationId& id);

}  // namespace ravant::cli
