#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// Words for a person who wrote a name that no setting has: the names that were probably meant, or how those that there
/// are begin.
std::string wordsForUnknownSetting(std::string_view name, const std::vector<std::string_view>& known);

}  // namespace ravant
