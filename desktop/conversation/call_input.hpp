#pragma once

#include <string>
#include <string_view>

namespace ravant::desktop {

/// What a tool was given, for people to read: each member of an object on a line of its own, texts as they are. Of an
/// edit, the lines that were removed and added. What is no JSON stays as it is.
std::string readableInput(std::string_view input);

}  // namespace ravant::desktop
