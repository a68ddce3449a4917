#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/integrations/pinned_item.hpp"
#include "palette/command_palette_store.hpp"
#include "palette/palette_pool.hpp"

namespace ravant {

/// Everything that the palette can find, by section, and when it was used. The section "Recent" has what is in no
/// other.
class PaletteIndex {
 public:
  /// In place of all but the commands and their uses before these.
  void replace(CommandPaletteContents contents, const std::vector<PinnedItem>& pins);
  /// What the store has of the row. False where that changes nothing.
  bool put(const PaletteRow& row, std::optional<PaletteCandidate> candidate);
  void replaceCommands(std::vector<PaletteCandidate> commands);
  /// The entry is the latest one.
  void use(const std::string& id);

  PalettePool& pool(PaletteSection section) { return pools_.at(static_cast<std::size_t>(section)); }
  const PalettePool& pool(PaletteSection section) const { return pools_.at(static_cast<std::size_t>(section)); }

 private:
  std::size_t ageOf(const std::string& id) const;

  std::array<PalettePool, kPaletteSections> pools_;
  std::unordered_map<std::string, std::size_t> uses_;  ///< by id, numbered in their order from 1
  std::size_t lastUse_ = 0;
};

}  // namespace ravant
