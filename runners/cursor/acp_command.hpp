#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// The shell text that starts an agent of the Agent Client Protocol; Cursor's own arguments where none are given.
std::string acpCommandLine(std::string_view binaryPath, const std::optional<std::vector<std::string>>& arguments);

}  // namespace ravant
