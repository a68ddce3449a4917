#pragma once

#include <cstddef>
#include <set>

#include "core/window/keybindings.hpp"
#include "palette/palette_candidate.hpp"
#include "platform/async/async.hpp"

namespace ravant {

struct CommandPaletteOptions {
  any_io_executor interface;
  Keybindings keybindings{};
  std::size_t sectionItems = 8;  ///< the most entries of a section but "Recent"
  std::size_t recentItems = 5;
  std::set<PaletteSection> left{};  ///< whose entries are not offered, nor as recent ones
};

}  // namespace ravant
