#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "desktop/text/markdown_blocks.hpp"

namespace ravant::desktop {

/// Where the parser was seen within a block: bytes of the Markdown from `first` to before `last`. Marks at its edges
/// are not in them.
struct BlockExtent {
  MarkdownBlockKind kind;
  std::optional<std::size_t> first = std::nullopt;
  std::size_t last = 0;
  /// Of fenced code, and of lists that end in fenced code: the fence's character.
  char fence = '\0';
  /// Of tables, without the header.
  std::size_t rows = 0;
};

/// The Markdown of each block. Every line that is not blank is in exactly one; definitions of links belong to the block
/// behind them, or to the last.
std::vector<std::string_view> sourcesOf(std::string_view markdown, const std::vector<BlockExtent>& extents);

/// The Markdown from the end of the last of `sources` on, which are of `markdown`.
std::string_view restBehind(std::string_view markdown, const std::vector<std::string_view>& sources);

}  // namespace ravant::desktop
