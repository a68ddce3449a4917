#pragma once

#include "core/conversation_item.hpp"
#include "core/store/search/search_snippet.hpp"

namespace ravant::desktop {

/// The snippet of a hit as it is read: without Markdown's signs in what an agent wrote, and without JSON's in what a
/// tool was given or answered. What was searched for stays, and stays marked.
SearchSnippet readable(SearchSnippet snippet, ConversationItemKind kind);

}  // namespace ravant::desktop
