#pragma once

#include <cstddef>

#include "core/window/keybindings.hpp"
#include "platform/async/async.hpp"

namespace ravant {

struct CommandPaletteOptions {
  any_io_executor interface;
  Keybindings keybindings{};
  std::size_t sectionItems = 8;  ///< the most entries of a section but "Recent"
  std::size_t recentItems = 5;
};

}  // namespace ravant
