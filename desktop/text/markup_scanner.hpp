#pragma once

#include <string_view>
#include <vector>

#include "desktop/text/highlighter.hpp"

namespace ravant::desktop {

/// The spans of a line of HTML or XML. Scripts and style sheets in it are plain.
std::vector<CodeSpan> markupSpans(std::u16string_view text, Highlighter::State& state);

/// The spans of a line of a patch.
std::vector<CodeSpan> patchSpans(std::u16string_view text);

}  // namespace ravant::desktop
