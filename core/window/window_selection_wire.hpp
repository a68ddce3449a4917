#pragma once

#include <string>
#include <string_view>

#include "core/window/window_selection_snapshot.hpp"

namespace ravant {

/// As JSON: `{"content":{"project":{"_0":ID}},"detail":{"conversation":{"_0":ID}}}`, ids as texts, what is absent left
/// out.
std::string encoded(const WindowSelectionSnapshot& snapshot);

/// The inverse. What cannot be read, because a later version wrote it for instance, is logged: a detail is absent then,
/// and the latest conversations stand for a content.
WindowSelectionSnapshot decodedWindowSelection(std::string_view text);

}  // namespace ravant
