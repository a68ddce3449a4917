#pragma once

#include <filesystem>
#include <optional>

namespace ravant {

/// Where this user's store, logs and settings are.
struct Locations {
  std::filesystem::path dataFolder;    ///< absolute
  std::filesystem::path settingsFile;  ///< absolute

  /// The data folder is `chosen`, else `RAVANT_DATA_DIR`, else `ravant` in `XDG_DATA_HOME` or
  /// `~/.local/share`; the settings are in `ravant` in `XDG_CONFIG_HOME` or `~/.config`. Throws
  /// `std::runtime_error` where no home folder is known.
  static Locations find(std::optional<std::filesystem::path> chosen);
};

}  // namespace ravant
