#pragma once

#include <filesystem>
#include <span>

#include "core/store/schema.hpp"
#include "core/store/store_file.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// What a file is to this program.
enum class StoreFormat { absent, current, older };

/// Looks at an opened file, by its own connection, without changing it. Throws `StoreError` for a file that is no store
/// or is of a newer version, `sqlite::Error` for one that cannot be read.
StoreFormat inspectStore(StoreFile& file, std::span<const Migration> steps);

/// Makes a new, empty store; nothing or all of it is there afterwards. The caller holds the store
/// alone.
void createStore(const std::filesystem::path& file, std::span<const Migration> steps);

/// Brings an older store to the present format: the steps run on a copy, the copy is checked, then
/// takes the file's place in one step, and the previous file is kept beside it under a name with its
/// version and the time. The caller holds the store alone. On any error the file is as it was.
void upgradeStore(const std::filesystem::path& file, std::span<const Migration> steps, Timestamp now);

}  // namespace ravant
