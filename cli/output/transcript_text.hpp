#pragma once

#include <string>

#include "cli/output/output.hpp"
#include "core/conversation.hpp"
#include "core/conversation_item.hpp"

namespace ravant::cli {

/// How much of a tool's output is shown.
enum class ToolOutput { firstLines, complete };

/// An entry as people read it; whole lines, harmless to a terminal.
std::string itemText(const ConversationItem& item, const Style& style, ToolOutput output);

/// How a prompt ended, in a line behind what came of it; empty for one that finished, or of which it is not known.
std::string endText(const ConversationItem& prompt, const Style& style);

/// A tool call that has started, on one line.
std::string startedText(const ToolInvocation& invocation, const Style& style);
/// The result of one that has ended.
std::string endedText(const ToolInvocation& invocation, const Style& style, ToolOutput output);

/// The agent's own records, a line each.
std::string rawText(const ConversationItem& item);

/// How full the context is; empty while no figures are known.
std::string usageText(const Conversation& conversation);

}  // namespace ravant::cli
