#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ravant {

/// How many lines came and went.
struct LineChanges {
  std::size_t added = 0;
  std::size_t removed = 0;

  bool operator==(const LineChanges&) const = default;
  LineChanges& operator+=(const LineChanges& other);
  /// `+46 −3`, `+71`; empty where nothing changed.
  std::string text() const;
};

/// Of a text that takes another's place; nothing where both are too long to be compared at once.
std::optional<LineChanges> lineChanges(std::string_view before, std::string_view after);

/// Of a patch between `*** Begin Patch` and `*** End Patch`, and the files that it names in their order.
struct PatchText {
  std::vector<std::string> paths;
  std::optional<LineChanges> changes;  ///< nothing where a file is deleted, whose lines it does not tell
};
/// Nothing for a text that is no such patch.
std::optional<PatchText> readPatchText(std::string_view text);

/// Of a text that holds the name of each file of `paths` above its hunks, or above its contents where `(added)` stands
/// behind its name. Nothing where it holds something else.
std::optional<LineChanges> lineChangesOfFiles(const std::vector<std::string>& paths, std::string_view text);

}  // namespace ravant
