#include "core/agent_session_id.hpp"

#include <algorithm>

namespace ravant {

bool canBeAgentSessionId(std::string_view id) {
  const bool isPrintable = std::ranges::all_of(id, [](char c) { return c > ' ' && c <= '~'; });
  return !id.empty() && !id.starts_with('-') && isPrintable;
}

}  // namespace ravant
