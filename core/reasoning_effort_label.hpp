#pragma once

#include <string>
#include <string_view>

namespace ravant {

/// The label under which a stored effort value is shown; a value without a label of its own is
/// shown with the first letter of each word in upper case.
std::string reasoningEffortLabel(std::string_view effort);

}  // namespace ravant
