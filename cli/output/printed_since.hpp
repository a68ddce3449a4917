#pragma once

#include <string_view>

namespace ravant::cli {

/// What was printed between two looks at an output that grows at its end and may have lost its beginning meanwhile:
/// the part of `now` behind its longest overlap with the end of `before`; all of `now` where they have no more in
/// common than chance would have it.
std::string_view printedSince(std::string_view before, std::string_view now);

}  // namespace ravant::cli
