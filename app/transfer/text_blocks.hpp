#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/transfer/exported_conversation.hpp"
#include "core/conversation_item.hpp"

namespace ravant {

/// What the forms that people read share.

/// The conversation's title, or what is shown where it has none, on one line and harmless.
std::string shownTitle(const ExportedConversation& exported);

/// The words of a tool's input that say most, on one line and harmless, cut where they are long.
std::string shownInput(const ToolInvocation& call);

/// `finished`, `cancelled` and so on, with the time where it is known; empty where nothing is.
std::string shownEnd(const UserMessage& prompt);

std::string_view statusMark(ToolInvocationStatus status);

/// Without the line feeds between them; one at the end begins no other line.
std::vector<std::string_view> linesOf(std::string_view text);

/// Without blank lines at the beginning and white space at the end.
std::string_view withoutBlankEnds(std::string_view text);

/// The text with `<`, `>`, `&` and both quotes as entities.
std::string htmlEscaped(std::string_view text);

}  // namespace ravant
