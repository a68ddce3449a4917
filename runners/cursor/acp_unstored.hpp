#pragma once

#include <vector>

#include "core/turn_action.hpp"

namespace ravant {

/// Adds what was told to what is not stored yet. Of several updates of one call only the last stays, for each tells the
/// call's whole output; none stays in front of the call's end, which tells it too.
void addUnstored(std::vector<turn::Action>& unstored, std::vector<turn::Action> told);

}  // namespace ravant
