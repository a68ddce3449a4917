#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "core/tool_invocation.hpp"

namespace ravant {

enum class ToolCallKind { edit, read, run, search, fetch, todo, task, other };

/// What a tool call is called and what it is about, whichever agent made it. All texts are one line, harmless, and
/// short; of a tool that is not known the verb is its own name.
struct ToolCallSummary {
  ToolCallKind kind = ToolCallKind::other;
  std::string verb;                   ///< `Edit`, `Run`
  std::string subject;                ///< a path, the first line of a command, …; empty where none is told
  std::optional<std::string> result;  ///< `exit 8`, `+46 −3`; nothing where it is not plainly told

  bool operator==(const ToolCallSummary&) const = default;
};

/// A path below `projectFolder`, which is absolute or empty, is told from there on. Costs a millisecond at most,
/// whatever the call's texts hold: what is longer than 64 KiB is read in part, see `readToolInput`.
ToolCallSummary toolCallSummary(const ToolInvocation& invocation, std::string_view projectFolder = {});

/// What calls did, in the order in which each kind came first: `Edited 2 files, ran 2 commands`. While one is running,
/// what the latest such does: `Running a command`, `Editing core/x.cpp`. Empty without calls.
std::string groupSummary(std::span<const ToolInvocation> invocations, std::string_view projectFolder = {});

}  // namespace ravant
