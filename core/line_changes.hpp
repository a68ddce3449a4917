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

/// How many pairs of lines are compared by default: some half a millisecond's work.
inline constexpr std::size_t kMostPairs = 100'000;

/// Of a text that takes another's place; nothing where more pairs of lines would have to be compared.
std::optional<LineChanges> lineChanges(std::string_view before, std::string_view after,
                                       std::size_t mostPairs = kMostPairs);

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
