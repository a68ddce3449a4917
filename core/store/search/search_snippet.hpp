#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/store/search/search_pattern.hpp"

namespace ravant {

/// A piece of a text on one line, and where in it is what was searched for.
struct SearchSnippet {
  std::string text;
  std::vector<TextSpan> marks;

  bool operator==(const SearchSnippet&) const = default;
};

/// The piece around the first of the marks, at most about two lines of a terminal long; `…` stands for what is left
/// out, one blank for each run of blanks. The marks are in order.
SearchSnippet snippetOf(std::string_view text, const std::vector<TextSpan>& marks);

}  // namespace ravant
