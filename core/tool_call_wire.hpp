#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/line_changes.hpp"
#include "core/tool_invocation.hpp"

namespace ravant {

/// What agents' tools are given, under whatever names; empty what is not told.
///
/// Of an input of more than 64 KiB only the beginning is read, up to the end of the text that is cut there.
struct ToolInput {
  std::string path;
  std::string command;
  std::string query;  ///< what is looked for
  std::string address;
  std::string task;
  std::string firstText;               ///< the first member that is a text; all of an input that is no JSON object
  bool isObject = false;               ///< of JSON
  bool isWhole = true;                 ///< nothing of it was left unread
  std::optional<LineChanges> changes;  ///< that its texts make in a file
};
ToolInput readToolInput(std::string_view input);

/// The kind of a tool that the record of a call in the Agent Client Protocol tells: `execute`, `edit`; empty elsewhere.
std::string toolKindOf(const ToolInvocation& invocation);

/// The member of a tool's input that says most: its first text; the input itself where it has none.
std::string toolInputWords(const std::string& input);

}  // namespace ravant
