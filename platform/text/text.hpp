#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ravant {

/// `text` without the white space and line breaks of ASCII at both ends.
std::string_view trimmed(std::string_view text);
/// The title that the user's words make: trimmed, none where nothing is left.
std::optional<std::string> titleFrom(std::string_view words);

/// `text` with the letters of ASCII in lower case.
std::string lowerCase(std::string_view text);

/// The standard alphabet, padded, without line breaks.
std::string base64(std::string_view bytes);
/// The bytes of what `base64` makes; nothing for anything else.
std::optional<std::string> bytesOfBase64(std::string_view text);

/// `text` as it may be printed on a terminal: whatever could move the cursor, start an escape sequence or reorder the
/// line is shown instead (`␛` for the escape character, `\u{202E}` for a direction override). Line breaks (CRLF
/// becomes a line feed) and tabs stay; invalid UTF-8 is repaired.
std::string terminalSafe(std::string_view text);

/// The same on one line: runs of white space become one blank, those at the ends none.
std::string oneLine(std::string_view text);

/// As `terminalSafe` for a JSON text, which stays one with the same meaning: such characters are written as escapes
/// (`\u202e`).
std::string terminalSafeJson(std::string_view json);

}  // namespace ravant
