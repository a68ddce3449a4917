#pragma once

#include <vector>

#include "core/store/change_feed.hpp"
#include "palette/command_palette_store.hpp"

namespace ravant {

/// What of the palette has to be read again after changes.
struct StaleCandidates {
  bool isEverything = false;
  std::vector<PaletteRow> rows;

  bool isEmpty() const { return !isEverything && rows.empty(); }
  void add(const ChangeBatch& batch);
};

}  // namespace ravant
