#pragma once

#include <string>
#include <string_view>

namespace ravant::desktop {

/// `text` as it may be shown: characters that are not seen themselves but steer what is seen stand as symbols (`␛`) or
/// as their numbers (`\u{202E}`). They are the controls, the overrides, isolates and marks of direction, and what Qt's
/// documents keep for themselves. Line feeds and tabs stay, CRLF is a line feed; invalid UTF-8 is repaired. The stored
/// text is never changed: what is copied is what was written.
std::string shownText(std::string_view text);

/// The same at the end of `html`, with `&`, `<`, `>` and `"` as entities.
void appendShownAsHtml(std::string& html, std::string_view text);

}  // namespace ravant::desktop
