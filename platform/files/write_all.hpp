#pragma once

#include <string_view>

namespace ravant {

/// Writes all of it, however often the kernel takes a part alone. False where that fails; errno says why.
[[nodiscard]] bool writeAll(int file, std::string_view contents);

}  // namespace ravant
