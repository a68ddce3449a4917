#pragma once

#include <string>

#include "core/store/conversation_model_actor.hpp"

namespace ravant::cli {

/// What is to be seen before the title, which a narrow terminal cuts: "failed", "3 unread", "archived, failed"; empty
/// where there is nothing.
std::string stateMark(const ConversationSummary& summary);

/// The start of an id that people read and type.
std::string shortId(const ConversationId& id);

}  // namespace ravant::cli
