#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// What a prompt in flight does or waits for. Announced while it runs, never stored.
struct RunState {
  enum class Kind { waitingForShell, waitingForLogin, thinking, retrying, runningTool };

  Kind kind;
  Timestamp since;
  std::string reason = {};                          ///< of `retrying`, in the words of the agent or the provider
  std::optional<Timestamp> until = {};              ///< of `retrying`: when it is tried again, where that is known
  std::optional<ToolInvocationId> invocation = {};  ///< of `runningTool`

  bool operator==(const RunState&) const = default;
};

constexpr std::string_view rawValue(RunState::Kind kind) {
  using enum RunState::Kind;
  switch (kind) {
    case waitingForShell:
      return "waitingForShell";
    case waitingForLogin:
      return "waitingForLogin";
    case thinking:
      return "thinking";
    case retrying:
      return "retrying";
    case runningTool:
      return "runningTool";
  }
  __builtin_unreachable();
}

}  // namespace ravant
