#pragma once

#include <string_view>
#include <vector>

#include "platform/settings/settings_file.hpp"

namespace ravant {

namespace setting {
inline constexpr std::string_view kShellStartSeconds = "shell.startSeconds";
}

/// Every setting that this program knows.
std::vector<SettingDescription> knownSettings();

}  // namespace ravant
