#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ravant::desktop {

/// The line of a prompt that attaches the file: `Attached: ` and its path, as a JSON string where blanks, quotation
/// marks or the like would make it ambiguous.
std::string attachmentLine(const std::string& path);

/// The path of such a line.
std::optional<std::string> attachedPath(std::string_view line);

}  // namespace ravant::desktop
