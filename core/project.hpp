#pragma once

#include <cstdint>
#include <string>

#include "core/id.hpp"
#include "platform/clock/clock.hpp"

namespace ravant {

/// A local folder that the user works in.
struct Project {
  ProjectId id;
  std::string path;  ///< absolute
  std::string name;
  Timestamp createdAt;
  bool expandedInSidebar;
  std::int64_t sidebarOrder;

  bool operator==(const Project&) const = default;
};

}  // namespace ravant
