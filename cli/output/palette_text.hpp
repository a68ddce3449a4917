#pragma once

#include <string>
#include <vector>

#include "cli/output/output.hpp"
#include "palette/command_palette_item.hpp"

namespace ravant::cli {

/// Each section's title and its entries, with the keys of commands at the right. Cut only for a terminal.
std::string paletteText(const std::vector<CommandPaletteSection>& sections, const Style& style);
json::object jsonForm(const std::vector<CommandPaletteSection>& sections);

}  // namespace ravant::cli
