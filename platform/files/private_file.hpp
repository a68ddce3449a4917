#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "platform/process/unique_fd.hpp"

namespace ravant {

/// The contents of a file; nothing when there is none. A pipe or a device is refused: it could keep its reader waiting.
/// Throws std::filesystem::filesystem_error.
std::optional<std::string> readFile(const std::filesystem::path& path);

/// Makes `folder` and what is missing above it, for their owner alone (0700). A folder that exists stays as it is.
/// Throws std::filesystem::filesystem_error.
void makePrivateFolder(const std::filesystem::path& folder);

/// Whether a system call failed with this error because nothing can be written there: no right to, or no room.
bool isUnwritable(int error);

/// Replaces the file at once and durably: whoever reads `path` finds the old contents or the new. Its mode is kept; a
/// new file is for its owner alone (0600). A symbolic link stays one: its target is replaced, made if need be.
/// Throws std::filesystem::filesystem_error.
void replaceFile(const std::filesystem::path& path, std::string_view contents);

/// Waits until no other process that changes `path` holds this lock. It is a file beside it, for the file itself is
/// replaced. Throws std::filesystem::filesystem_error.
[[nodiscard]] UniqueFd lockBeside(const std::filesystem::path& path);

/// The file a chain of symbolic links ends at, whether or not it exists.
std::filesystem::path linkTarget(std::filesystem::path path);

}  // namespace ravant
