#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ravant {

/// What is kept of an imported session beside how far its file was read.
struct ImportedState {
  std::int64_t size = 0;             ///< of the file, in bytes, when it was read
  std::optional<std::string> title;  ///< that the agent gave it then
  bool isArchived = false;           ///< the agent's, when it was read
  /// Where the last line of the file stands that the conversation has; absent where it has none.
  std::optional<std::int64_t> lastRecord;

  bool operator==(const ImportedState&) const = default;
};

std::string importedStateText(const ImportedState& state);
/// What is not there has its default.
ImportedState parseImportedState(const std::string& text);

}  // namespace ravant
