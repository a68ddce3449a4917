#pragma once

#include "platform/json/json.hpp"

/// Codex's files and its server tell the same in two spellings.
namespace ravant::codex {

/// An item, or an error, of a file in the spelling of the server.
json::object respelled(const json::object& item);

/// A command that is a list of words as the line that a shell reads the same from.
json::value commandLine(const json::value& command);

}  // namespace ravant::codex
