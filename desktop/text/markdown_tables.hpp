#pragma once

#include <string_view>

#include "desktop/text/markdown_blocks.hpp"

namespace ravant::desktop {

/// What is shown of a number: `-1,234.5`, `12 %`, `$ 3.50`, `40 ms`, `1.5x`.
bool isNumeric(std::string_view cell);

/// A column has numbers in it, and nothing else but cells that are empty or a dash.
bool isNumericColumn(const MarkdownTable& table, std::size_t column);

}  // namespace ravant::desktop
