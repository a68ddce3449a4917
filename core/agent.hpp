#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/agent_type.hpp"
#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// One configured agent executable.
struct Agent {
  AgentId id;
  std::string path;  ///< as configured; blank means the type's default command, looked up in the login shell's PATH
  AgentType type;
  bool enabled;
  Timestamp createdAt;
  std::int64_t order;
  /// Of a program that is started by more than its path, such as an agent that speaks a protocol behind a subcommand;
  /// nothing means the type's usual ones.
  std::optional<std::vector<std::string>> arguments = {};

  bool operator==(const Agent&) const = default;
};

}  // namespace ravant
