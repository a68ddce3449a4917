#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/conversation_item.hpp"

namespace ravant {

/// Markdown that somebody else wrote, as part of a document of ours: in quotes, which end whatever is left open in
/// them. Each block and each run of indented code has a quote of its own. Harmless to a terminal.
///
/// Code stays as it is. Prose stays the Markdown that it is, but for what counts beyond its quote or does more than to
/// be read: tags, images, definitions of links and footnotes, and links to anything but the web and mail.
std::string quotedMarkdown(const std::vector<MessageBlock>& blocks);
/// The same of a text that was not cut into blocks.
std::string quotedMarkdown(std::string_view text);

/// A block of code between fences, longer than any run of backticks in it; each line begins with the prefix.
std::string fencedCode(std::string_view code, std::string_view language, std::string_view prefix);

}  // namespace ravant
