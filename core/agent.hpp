#pragma once

#include <cstdint>
#include <string>

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

  bool operator==(const Agent&) const = default;
};

}  // namespace ravant
