#pragma once

#include <string>
#include <string_view>

#include "app/transfer/exported_conversation.hpp"
#include "core/conversation_item.hpp"

namespace ravant {

/// What the forms that people read share.

/// The conversation's title, on one line and harmless.
std::string shownTitle(const ExportedConversation& exported);

/// The words of a tool's input that say most, on one line and harmless, cut where they are long.
std::string shownInput(const ToolInvocation& call);

/// `finished`, `cancelled` and so on, with the time where it is known; empty where nothing is.
std::string shownEnd(const UserMessage& prompt);

std::string_view statusMark(ToolInvocationStatus status);

/// The text with `<`, `>`, `&` and both quotes as entities.
std::string htmlEscaped(std::string_view text);

}  // namespace ravant
