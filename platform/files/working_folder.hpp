#pragma once

#include <filesystem>

namespace ravant {

/// Throws `std::system_error`, as starting a program there would, where the folder cannot be worked in.
void expectFolder(const std::filesystem::path& folder);

}  // namespace ravant
