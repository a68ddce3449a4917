#pragma once

#include <cstddef>
#include <cstdint>
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

/// A line of a text that takes another's place, or of the one that it takes it of.
struct ChangedLine {
  enum class Change : std::uint8_t { none, removed, added };

  Change change;
  std::string_view line;

  bool operator==(const ChangedLine&) const = default;
};

/// The lines of both texts, each that is in both once: as many are removed and added as `lineChanges` says.
std::optional<std::vector<ChangedLine>> changedLines(std::string_view before, std::string_view after);

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
