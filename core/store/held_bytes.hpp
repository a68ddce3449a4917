#pragma once

#include <cstddef>

#include "core/conversation_item.hpp"

namespace ravant {

/// What an item takes of the memory, about.
std::size_t heldBytes(const ConversationItem& item);

}  // namespace ravant
