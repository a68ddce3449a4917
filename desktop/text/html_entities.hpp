#pragma once

#include <string>
#include <string_view>

namespace ravant::desktop {

/// The character that `entity` (`&amp;`, `&#8212;`, `&#x2014;`) stands for, U+FFFD for a number that is none of a
/// character. A name that is not known is shown as it was written.
std::string characterOfEntity(std::string_view entity);

}  // namespace ravant::desktop
